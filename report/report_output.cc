#include "report/report_output.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <map>

#include "plugin/common.h"
#include "recorder/tools/entry_text.h"

namespace kestrel {
namespace report {
namespace {

// --- Texts ------------------------------------------------------------------------

std::string html(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// A JSON string; "</" written as "<\/" so that it may stand inside a script.
std::string json(const std::string& text) {
  std::string out = "\"";
  char previous = 0;
  for (char ch : journal::utf8Text(text)) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += ch;
    } else if (c == '/' && previous == '<') {
      out += "\\/";
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
      out += escaped;
    } else {
      out += ch;
    }
    previous = ch;
  }
  return out + "\"";
}

std::string number(double value, int decimals) {
  char text[48];
  std::snprintf(text, sizeof(text), "%.*f", decimals, value);
  return text;
}

// Microseconds, as JSON and CSV give times; null when not seen.
std::string micros(uint64_t ns) { return ns == kNoTime ? "null" : number(ns / 1000.0, 1); }

// A duration for people: 850 ns, 12.3 µs, 4.56 ms, 1.20 s.
std::string shown(uint64_t ns) {
  if (ns == kNoTime) return "";
  if (ns < 1000) return std::to_string(ns) + " ns";
  if (ns < 1000000) return number(ns / 1e3, ns < 10000 ? 2 : 1) + " µs";
  if (ns < 1000000000) return number(ns / 1e6, ns < 10000000 ? 2 : 1) + " ms";
  return number(ns / 1e9, 2) + " s";
}

std::string utcText(uint64_t micros, bool withDate) {
  const std::time_t seconds = static_cast<std::time_t>(micros / 1000000);
  std::tm tm{};
#if defined(_WIN32)
  gmtime_s(&tm, &seconds);
#else
  gmtime_r(&seconds, &tm);
#endif
  char text[40];
  std::strftime(text, sizeof(text), withDate ? "%Y-%m-%d %H:%M:%S" : "%H:%M:%S", &tm);
  char fraction[8];
  std::snprintf(fraction, sizeof(fraction), ".%03u", static_cast<unsigned>(micros / 1000 % 1000));
  return std::string(text) + fraction;
}

std::string clockAt(const Day& day, uint64_t ns) {
  return ns == kNoTime ? "" : utcText(day.startMicros + ns / 1000, false);
}

const char* directionText(int direction) { return direction == 1 ? "buy" : "sell"; }

const char* offsetText(int offset) {
  switch (offset) {
    case 1:
      return "open";
    case 5:
      return "close today";
    default:
      return "close";
  }
}

// --- Figures ----------------------------------------------------------------------

void count(OrderCounts& c, const Order& o) {
  ++c.sent;
  if (o.accepted != kNoTime) ++c.accepted;
  switch (o.outcome) {
    case Outcome::kFilled:
      ++c.filled;
      break;
    case Outcome::kPartlyFilled:
      ++c.partlyFilled;
      ++c.open;
      break;
    case Outcome::kCancelled:
      ++c.cancelled;
      if (o.filled > 0) ++c.partlyFilled;
      break;
    case Outcome::kRefusedByPlugin:
      ++c.refusedByPlugin;
      break;
    case Outcome::kRefusedByCounter:
      ++c.refusedByCounter;
      break;
    case Outcome::kRefusedByExchange:
      ++c.refusedByExchange;
      break;
    case Outcome::kOpen:
      ++c.open;
      break;
  }
}

struct CountColumn {
  const char* key;
  const char* title;
  std::size_t OrderCounts::*field;
};
const CountColumn kCountColumns[] = {
    {"sent", "sent", &OrderCounts::sent},
    {"accepted", "accepted", &OrderCounts::accepted},
    {"filled", "filled", &OrderCounts::filled},
    {"partly_filled", "partly filled", &OrderCounts::partlyFilled},
    {"cancelled", "cancelled", &OrderCounts::cancelled},
    {"refused_by_plugin", "refused by the plug-in", &OrderCounts::refusedByPlugin},
    {"refused_by_counter", "refused by the counter", &OrderCounts::refusedByCounter},
    {"refused_by_exchange", "refused by the exchange", &OrderCounts::refusedByExchange},
    {"open", "open at the end", &OrderCounts::open},
};

OrderCounts totalCounts(const Day& day, std::map<std::string, OrderCounts>* byInstrument) {
  OrderCounts total;
  for (const Order& o : day.orders) {
    count(total, o);
    if (byInstrument != nullptr) count((*byInstrument)[o.instrument], o);
  }
  return total;
}

std::string clientIdOf(const Day& day, int order) {
  return order >= 0 ? day.orders[static_cast<std::size_t>(order)].clientId : std::string();
}

// --- Charts (SVG) -------------------------------------------------------------------

constexpr int kChartWidth = 380;
constexpr int kChartHeight = 150;
constexpr int kLeft = 44;
constexpr int kBottom = 22;
constexpr double kLowest = 1e2;    // 100 ns
constexpr double kHighest = 1e10;  // 10 s
constexpr int kBinsPerDecade = 4;

double logPosition(double ns) {
  const double clamped = std::min(std::max(ns, kLowest), kHighest);
  return std::log10(clamped / kLowest) / std::log10(kHighest / kLowest);
}

std::string decadeLabel(int decade) {  // 10^decade ns
  static const char* const kLabels[] = {"100ns", "1µs",   "10µs", "100µs", "1ms",
                                        "10ms",  "100ms", "1s",   "10s"};
  return kLabels[decade - 2];
}

std::string emptyChart(const std::string& title) {
  return "<svg class=\"chart\" width=\"" + std::to_string(kChartWidth) + "\" height=\"" +
         std::to_string(kChartHeight) + "\" role=\"img\"><title>" + html(title) +
         "</title><text x=\"" + std::to_string(kChartWidth / 2) + "\" y=\"" +
         std::to_string(kChartHeight / 2) +
         "\" text-anchor=\"middle\" class=\"none\">no samples</text></svg>";
}

// A histogram of the samples on a logarithmic time axis.
std::string histogram(const std::vector<Sample>& samples, const std::string& title) {
  if (samples.empty()) return emptyChart(title);
  constexpr int kBins = 8 * kBinsPerDecade;
  std::vector<std::size_t> bins(kBins, 0);
  for (const Sample& s : samples) {
    const int bin = std::min(kBins - 1, static_cast<int>(logPosition(double(s.took)) * kBins));
    ++bins[static_cast<std::size_t>(bin)];
  }
  const std::size_t most = *std::max_element(bins.begin(), bins.end());
  const double plotWidth = kChartWidth - kLeft - 8;
  const double plotHeight = kChartHeight - kBottom - 10;
  std::string svg = "<svg class=\"chart\" width=\"" + std::to_string(kChartWidth) + "\" height=\"" +
                    std::to_string(kChartHeight) + "\" role=\"img\"><title>" + html(title) +
                    "</title>";
  svg += "<text x=\"4\" y=\"12\" class=\"axis\">" + std::to_string(most) + "</text>";
  for (int b = 0; b < kBins; ++b) {
    if (bins[b] == 0) continue;
    const double h = std::max(1.0, plotHeight * double(bins[b]) / double(most));
    svg += "<rect x=\"" + number(kLeft + plotWidth * b / kBins, 1) + "\" y=\"" +
           number(10 + plotHeight - h, 1) + "\" width=\"" + number(plotWidth / kBins - 1, 1) +
           "\" height=\"" + number(h, 1) + "\"><title>" + std::to_string(bins[b]) +
           "</title></rect>";
  }
  for (int decade = 2; decade <= 10; decade += 2) {
    const double x = kLeft + plotWidth * (decade - 2) / 8.0;
    svg += "<text x=\"" + number(x, 1) + "\" y=\"" + std::to_string(kChartHeight - 6) +
           "\" class=\"axis\" text-anchor=\"middle\">" + decadeLabel(decade) + "</text>";
  }
  svg += "<line x1=\"" + std::to_string(kLeft) + "\" y1=\"" + number(10 + plotHeight, 1) +
         "\" x2=\"" + number(kLeft + plotWidth, 1) + "\" y2=\"" + number(10 + plotHeight, 1) +
         "\" class=\"frame\"/></svg>";
  return svg;
}

// The median and the largest sample in each of 60 slices of the day, on a
// logarithmic axis.
std::string overTheDay(const Day& day, const std::vector<Sample>& samples,
                       const std::string& title) {
  if (samples.empty()) return emptyChart(title);
  constexpr int kSlices = 60;
  const double span = std::max<double>(1.0, double(day.duration));
  std::vector<std::vector<uint64_t>> slices(kSlices);
  for (const Sample& s : samples) {
    const int slice = std::min(kSlices - 1, static_cast<int>(double(s.at) / span * kSlices));
    slices[static_cast<std::size_t>(slice)].push_back(s.took);
  }
  const double plotWidth = kChartWidth - kLeft - 8;
  const double plotHeight = kChartHeight - kBottom - 10;
  const auto y = [&](double ns) { return number(10 + plotHeight * (1 - logPosition(ns)), 1); };
  std::string medians;
  std::string peaks;
  for (int i = 0; i < kSlices; ++i) {
    std::vector<uint64_t>& v = slices[static_cast<std::size_t>(i)];
    if (v.empty()) continue;
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    const double median = double(v[v.size() / 2]);
    const double peak = double(*std::max_element(v.begin(), v.end()));
    const std::string x = number(kLeft + plotWidth * (i + 0.5) / kSlices, 1);
    medians += (medians.empty() ? "M" : " L") + x + " " + y(median);
    peaks += "<circle cx=\"" + x + "\" cy=\"" + y(peak) + "\" r=\"2\"/>";
  }
  std::string svg = "<svg class=\"chart\" width=\"" + std::to_string(kChartWidth) + "\" height=\"" +
                    std::to_string(kChartHeight) + "\" role=\"img\"><title>" + html(title) +
                    "</title>";
  for (int decade = 2; decade <= 10; decade += 2) {
    svg += "<text x=\"4\" y=\"" + y(std::pow(10.0, decade)) + "\" class=\"axis\">" +
           decadeLabel(decade) + "</text>";
  }
  svg += "<path d=\"" + medians + "\" class=\"median\"/><g class=\"peak\">" + peaks + "</g>";
  svg += "<text x=\"" + std::to_string(kLeft) + "\" y=\"" + std::to_string(kChartHeight - 6) +
         "\" class=\"axis\">" + clockAt(day, 0) + "</text><text x=\"" +
         std::to_string(kChartWidth - 8) + "\" y=\"" + std::to_string(kChartHeight - 6) +
         "\" class=\"axis\" text-anchor=\"end\">" + clockAt(day, day.duration) + "</text>";
  svg += "<line x1=\"" + std::to_string(kLeft) + "\" y1=\"" + number(10 + plotHeight, 1) +
         "\" x2=\"" + number(kLeft + plotWidth, 1) + "\" y2=\"" + number(10 + plotHeight, 1) +
         "\" class=\"frame\"/></svg>";
  return svg;
}

// --- The page -------------------------------------------------------------------------

const char kStyle[] = R"(
body{font:14px/1.4 system-ui,sans-serif;margin:1.5em;color:#222;max-width:1400px}
h1{font-size:1.4em;margin:0 0 .2em}h2{font-size:1.15em;margin:1.6em 0 .4em;border-bottom:1px solid #ccc}
table{border-collapse:collapse;margin:.3em 0}td,th{padding:2px 8px;border-bottom:1px solid #eee;text-align:left;vertical-align:top}
th{background:#f4f4f4}td.n,th.n{text-align:right;font-variant-numeric:tabular-nums}
.bad{color:#b00020;font-weight:600}.ok{color:#08660b}.muted{color:#777}
.charts{display:flex;flex-wrap:wrap;gap:12px}.stage{border:1px solid #ddd;padding:6px}
.stage h3{font-size:.95em;margin:0 0 4px}
svg.chart rect{fill:#4a78b5}svg.chart .axis{font-size:10px;fill:#555}svg.chart .none{fill:#999}
svg.chart .frame{stroke:#999}svg.chart .median{fill:none;stroke:#4a78b5;stroke-width:1.5}
svg.chart .peak circle{fill:#d9534f}
#orders tr.order{cursor:pointer}#orders tr.order:hover{background:#f0f6ff}
#orders th{cursor:pointer;position:sticky;top:0}
tr.entries pre{margin:0;font-size:12px;white-space:pre;overflow-x:auto;max-width:1300px}
details{margin:.3em 0}summary{cursor:pointer}
)";

const char kScript[] = R"(
(function(){
var errors=0;window.addEventListener('error',function(){errors++;document.body.dataset.errors=errors;});
var data=JSON.parse(document.getElementById('entries').textContent);
var byOrder={};data.forEach(function(e){(byOrder[e[0]]=byOrder[e[0]]||[]).push(e[1]);});
var limit=+document.getElementById('entries').dataset.orders;
var table=document.getElementById('orders'),body=table.tBodies[0];
function open(row){
  var next=row.nextElementSibling;
  if(next&&next.classList.contains('entries')){next.remove();return;}
  var i=+row.dataset.i,tr=document.createElement('tr');tr.className='entries';
  var td=document.createElement('td');td.colSpan=row.cells.length;var pre=document.createElement('pre');
  pre.textContent=byOrder[i]?byOrder[i].join('\n'):(i<limit?'(no entries)':'entries not embedded (page limit): journal_dump shows them');
  td.appendChild(pre);tr.appendChild(td);row.after(tr);
}
body.addEventListener('click',function(ev){var row=ev.target.closest('tr.order');if(row)open(row);});
Array.prototype.forEach.call(table.tHead.rows[0].cells,function(th,col){
  th.addEventListener('click',function(){
    var rows=Array.prototype.slice.call(body.querySelectorAll('tr.order'));
    body.querySelectorAll('tr.entries').forEach(function(r){r.remove();});
    var up=th.dataset.sort!=='up';th.dataset.sort=up?'up':'down';
    rows.sort(function(a,b){
      var x=a.cells[col],y=b.cells[col],u=x.dataset.v,v=y.dataset.v;
      var r=(u!==undefined&&v!==undefined)?(+u)-(+v):x.textContent.localeCompare(y.textContent);
      return up?r:-r;});
    rows.forEach(function(r){body.appendChild(r);});
  });
});
var filter=document.getElementById('filter');
filter.addEventListener('input',function(){
  var words=filter.value.toLowerCase().split(/\s+/).filter(Boolean);
  body.querySelectorAll('tr.entries').forEach(function(r){r.remove();});
  body.querySelectorAll('tr.order').forEach(function(r){
    var t=r.textContent.toLowerCase();
    r.style.display=words.every(function(w){return t.indexOf(w)>=0;})?'':'none';});
});
var charts=document.querySelectorAll('svg.chart'),drawn=0;
charts.forEach(function(svg){var b=svg.getBBox();if(b.width>0&&b.height>0)drawn++;});
function fromHash(){
  var m=/order=(\d+)/.exec(location.hash),row=m&&body.querySelector('tr.order[data-i="'+m[1]+'"]');
  if(!row)return;var next=row.nextElementSibling;
  if(!(next&&next.classList.contains('entries')))open(row);row.scrollIntoView();
}
window.addEventListener('hashchange',fromHash);fromHash();
document.body.dataset.orders=body.querySelectorAll('tr.order').length;
document.body.dataset.charts=drawn+'/'+charts.length;
document.body.dataset.errors=errors;
document.body.dataset.ready='1';
})();
)";

class Page {
 public:
  explicit Page(std::FILE* out) : out_(out) {}
  Page& operator<<(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), out_);
    return *this;
  }
  Page& operator<<(const char* text) { return *this << std::string(text); }

 private:
  std::FILE* out_;
};

std::string row(std::initializer_list<std::string> cells) {
  std::string out = "<tr>";
  for (const std::string& c : cells) out += "<td>" + c + "</td>";
  return out + "</tr>";
}

std::string cellNumber(std::size_t n) { return "<td class=\"n\">" + std::to_string(n) + "</td>"; }

std::string orderLink(const Day& day, int order) {
  if (order < 0) return "<span class=\"muted\">(no order)</span>";
  return "<a href=\"#order=" + std::to_string(order) + "\">" + html(clientIdOf(day, order)) +
         "</a>";
}

void writeDaySection(const Day& day, Page& page) {
  page << "<h2 id=\"day\">The day</h2><table>";
  page << row(
      {"recorded by", html(day.program) + " (process " + std::to_string(day.processId) + ")"});
  page << row({"journal", html(day.path) + " (format version " + std::to_string(day.version) +
                              ", " + std::to_string(day.bytes) + " bytes)"});
  page << row({"start", utcText(day.startMicros, true) + " UTC"});
  page << row({"duration", shown(day.duration)});
  page << row({"entries", std::to_string(day.entries)});
  page << row({"dropped entries (gaps)",
               day.dropped == 0 ? std::string("<span class=\"ok\">none</span>")
                                : "<span class=\"bad\">" + std::to_string(day.dropped) + " in " +
                                      std::to_string(day.gaps.size()) + " gaps</span>"});
  page << row({"ends", !day.cut.empty() ? "<span class=\"bad\">cut: " + html(day.cut) + "</span>"
                       : day.closed     ? std::string("closed normally")
                                        : std::string("without a closing entry")});
  if (!day.malformed.empty()) {
    std::string list;
    for (const std::string& m : day.malformed) list += html(m) + "<br>";
    page << row({"<span class=\"bad\">malformed entries</span>", list});
  }
  page << "</table>";
  page << "<table><tr><th>session</th><th>created</th><th>connect → onConnected</th><th>code</th>"
          "<th>login → onLogin</th><th>code</th><th>released</th></tr>";
  for (const Session& s : day.sessions) {
    const auto between = [](uint64_t a, uint64_t b) {
      return a == kNoTime || b == kNoTime || b < a ? std::string("—") : shown(b - a);
    };
    page << "<tr><td>#" + std::to_string(s.object) + "</td><td>" + clockAt(day, s.created) +
                "</td><td>" + between(s.connectSent, s.connected) + "</td><td>" +
                (s.connected == kNoTime ? "" : std::to_string(s.connectCode)) + "</td><td>" +
                between(s.loginSent, s.loggedIn) + "</td><td>" +
                (s.loggedIn == kNoTime ? "" : std::to_string(s.loginCode)) + "</td><td>" +
                clockAt(day, s.released) + "</td></tr>";
  }
  page << "</table>";
  if (!day.disconnections.empty()) {
    page << "<table><tr><th>disconnection</th><th>object</th><th>side</th><th>code</th>"
            "<th>message</th></tr>";
    for (const Disconnection& d : day.disconnections) {
      page << "<tr><td>" + clockAt(day, d.time) + "</td><td>#" + std::to_string(d.object) +
                  "</td><td>" + (d.host ? "host (onDisconnected)" : "vendor (onConnected false)") +
                  "</td><td" + (d.code != 0 ? " class=\"bad\"" : "") + ">" +
                  std::to_string(d.code) + "</td><td>" + html(d.message) + "</td></tr>";
    }
    page << "</table>";
  }
}

void writeOrdersSection(const Day& day, Page& page) {
  std::map<std::string, OrderCounts> byInstrument;
  const OrderCounts total = totalCounts(day, &byInstrument);
  page << "<h2 id=\"orders-summary\">Orders</h2><table><tr><th></th>";
  for (const CountColumn& c : kCountColumns)
    page << "<th class=\"n\">" + std::string(c.title) + "</th>";
  page << "</tr><tr><th>all</th>";
  for (const CountColumn& c : kCountColumns) page << cellNumber(total.*c.field);
  page << "</tr>";
  for (const auto& [instrument, counts] : byInstrument) {
    page << "<tr><td>" + html(instrument) + "</td>";
    for (const CountColumn& c : kCountColumns) page << cellNumber(counts.*c.field);
    page << "</tr>";
  }
  page << "</table>";
  if (!day.refusedAnswers.empty()) {
    page << "<p>Immediate answers other than 0, by code:</p><table><tr><th>request</th>"
            "<th class=\"n\">code</th><th class=\"n\">how many</th><th>first message</th></tr>";
    for (const auto& [key, value] : day.refusedAnswers) {
      page << "<tr><td>" + html(key.first) + "</td>" + "<td class=\"n\">" +
                  std::to_string(key.second) + "</td>" + cellNumber(std::size_t(value.first)) +
                  "<td>" + html(value.second) + "</td></tr>";
    }
    page << "</table>";
  }
}

void writeStagesSection(const Day& day, Page& page) {
  page << "<h2 id=\"stages\">Stage latencies</h2><table><tr><th>stage</th><th class=\"n\">samples"
          "</th><th class=\"n\">median</th><th class=\"n\">90th</th><th class=\"n\">99th</th>"
          "<th class=\"n\">maximum</th></tr>";
  for (int s = 0; s < kStages; ++s) {
    const Distribution d = distributionOf(day.samples[s]);
    page << "<tr><td>" + html(stageInfo(s).title) + "</td>" + cellNumber(d.count);
    for (uint64_t v : {d.median, d.p90, d.p99, d.max}) {
      page << "<td class=\"n\">" + (d.count == 0 ? std::string("—") : shown(v)) + "</td>";
    }
    page << "</tr>";
  }
  page << "</table>";
  if (day.version < 2) {
    page << "<p class=\"muted\">A version 1 journal records no returns: the host handlers' "
            "times are not known.</p>";
  }
  page << "<p class=\"muted\">Each stage: how its times spread (a logarithmic axis), and over the "
          "day: the median of each slice (line) and its largest (dots).</p><div class=\"charts\">";
  for (int s = 0; s < kStages; ++s) {
    page << "<div class=\"stage\"><h3>" + html(stageInfo(s).title) + "</h3>" +
                histogram(day.samples[s], std::string(stageInfo(s).title) + ": histogram") +
                overTheDay(day, day.samples[s],
                           std::string(stageInfo(s).title) + ": over the day") +
                "</div>";
  }
  page << "</div>";
}

void writeAnomaliesSection(const Day& day, Page& page) {
  constexpr std::size_t kShown = 200;
  page << "<h2 id=\"anomalies\">Anomalies</h2>";
  for (int a = 0; a < kAnomalies; ++a) {
    const std::vector<AnomalyCase>& cases = day.anomalies[a];
    page << "<details" + std::string(cases.empty() ? "" : " open") + "><summary>" +
                html(anomalyInfo(a).title) + ": <span class=\"" + (cases.empty() ? "ok" : "bad") +
                "\">" + std::to_string(cases.size()) + "</span></summary>";
    if (!cases.empty()) {
      page << "<table><tr><th>order</th><th class=\"n\">entry offset</th><th>what</th></tr>";
      for (std::size_t i = 0; i < cases.size() && i < kShown; ++i) {
        page << "<tr><td>" + orderLink(day, cases[i].order) + "</td><td class=\"n\">" +
                    std::to_string(cases[i].offset) + "</td><td>" + html(cases[i].detail) +
                    "</td></tr>";
      }
      page << "</table>";
      if (cases.size() > kShown) {
        page << "<p class=\"muted\">and " + std::to_string(cases.size() - kShown) +
                    " more (the JSON lists every one)</p>";
      }
    }
    page << "</details>";
  }
  std::size_t failed = 0;
  for (const Disconnection& d : day.disconnections) failed += d.code != 0 || !d.host ? 1 : 0;
  page << "<p>Disconnections with a code other than 0: <span class=\"" +
              std::string(failed ? "bad" : "ok") + "\">" + std::to_string(failed) +
              "</span>; dropped journal entries: <span class=\"" + (day.dropped ? "bad" : "ok") +
              "\">" + std::to_string(day.dropped) + "</span>; immediate answers other than 0: " +
              std::to_string(day.refusedAnswers.size()) + " codes (under Orders).</p>";
  page << "<p>The slowest host handlers:</p>";
  if (day.slowestHandlers.empty()) {
    page << "<p class=\"muted\">none known (the journal records no returns)</p>";
  } else {
    page << "<table><tr><th>event</th><th>order</th><th class=\"n\">entry offset</th>"
            "<th class=\"n\">took</th></tr>";
    for (const Handler& h : day.slowestHandlers) {
      page << "<tr><td>" + html(h.operation) + "</td><td>" + orderLink(day, h.order) +
                  "</td><td class=\"n\">" + std::to_string(h.offset) + "</td><td class=\"n\">" +
                  shown(h.took) + "</td></tr>";
    }
    page << "</table>";
  }
}

std::string timeCell(uint64_t ns) {
  return ns == kNoTime
             ? "<td class=\"n\" data-v=\"-1\"></td>"
             : "<td class=\"n\" data-v=\"" + std::to_string(ns) + "\">" + shown(ns) + "</td>";
}

void writeOrderTable(const Day& day, const EntryLines& lines, Page& page) {
  page << "<h2 id=\"table\">Every order</h2><p>Click a column to sort, a row to open its "
          "journal entries. <input id=\"filter\" placeholder=\"filter: words in a row\" "
          "size=\"40\"></p>";
  page << "<table id=\"orders\"><thead><tr><th class=\"n\">#</th><th>client id</th><th>sent</th>"
          "<th>instrument</th><th>side</th><th class=\"n\">volume</th><th class=\"n\">price</th>"
          "<th class=\"n\">filled</th><th>outcome</th>";
  for (int s : {kPluginIn, kCounter, kPluginOut, kToAccepted, kToFilled, kToCancelled}) {
    page << "<th class=\"n\" title=\"" + html(stageInfo(s).title) + "\">" + stageInfo(s).key +
                "</th>";
  }
  page << "<th>anomalies</th></tr></thead><tbody>";
  for (std::size_t i = 0; i < day.orders.size(); ++i) {
    const Order& o = day.orders[i];
    std::string anomalies;
    for (int a = 0; a < kAnomalies; ++a) {
      if (o.anomalies[a] > 0)
        anomalies += std::string(anomalies.empty() ? "" : " ") + anomalyInfo(a).key;
    }
    std::string line =
        "<tr class=\"order\" data-i=\"" + std::to_string(i) + "\"><td class=\"n\" data-v=\"" +
        std::to_string(i) + "\">" + std::to_string(i + 1) + "</td><td>" + html(o.clientId) +
        "</td><td data-v=\"" + std::to_string(o.sent) + "\">" + clockAt(day, o.sent) + "</td><td>" +
        html(o.instrument) + "</td><td>" + directionText(o.direction) + " " + offsetText(o.offset) +
        "</td><td class=\"n\" data-v=\"" + std::to_string(o.volume) + "\">" +
        std::to_string(o.volume) + "</td><td class=\"n\" data-v=\"" + number(o.price, 4) + "\">" +
        (o.price == 0 ? "any" : number(o.price, 2)) + "</td><td class=\"n\" data-v=\"" +
        std::to_string(o.filled) + "\">" + std::to_string(o.filled) + "</td><td" +
        (isFinal(o.outcome) ? "" : " class=\"bad\"") + ">" + outcomeKey(o.outcome) +
        (o.refusal.empty() ? "" : " <span class=\"muted\">" + html(o.refusal) + "</span>") +
        "</td>";
    for (int s : {kPluginIn, kCounter, kPluginOut, kToAccepted, kToFilled, kToCancelled}) {
      line += timeCell(o.stage[s]);
    }
    line += "<td" + std::string(anomalies.empty() ? "" : " class=\"bad\"") + ">" + anomalies +
            "</td></tr>\n";
    page << line;
  }
  page << "</tbody></table>";
  if (lines.ordersWithLines < day.orders.size()) {
    page << "<p class=\"muted\">The page holds the journal entries of the first " +
                std::to_string(lines.ordersWithLines) + " orders; journal_dump shows all.</p>";
  }
  page << "<script type=\"application/json\" id=\"entries\" data-orders=\"" +
              std::to_string(lines.ordersWithLines) + "\">[";
  const char* separator = "";
  for (const auto& [order, text] : lines.lines) {
    page << separator + ("[" + std::to_string(order) + "," + json(text) + "]");
    separator = ",\n";
  }
  page << "]</script>";
}

}  // namespace

Distribution distributionOf(const std::vector<Sample>& samples) {
  Distribution d;
  d.count = samples.size();
  if (samples.empty()) return d;
  std::vector<uint64_t> took;
  took.reserve(samples.size());
  for (const Sample& s : samples) took.push_back(s.took);
  std::sort(took.begin(), took.end());
  // The nearest-rank percentile: the smallest sample with at least p% at or below it.
  const auto rank = [&](double p) {
    const auto n = static_cast<std::size_t>(std::ceil(p / 100.0 * double(took.size())));
    return took[std::max<std::size_t>(n, 1) - 1];
  };
  d.median = rank(50);
  d.p90 = rank(90);
  d.p99 = rank(99);
  d.max = took.back();
  return d;
}

EntryLines orderEntryLines(const Day& day, std::size_t limit) {
  EntryLines out;
  std::vector<std::pair<uint64_t, int>> wanted;  // offset, order
  std::size_t total = 0;
  for (std::size_t i = 0; i < day.orders.size(); ++i) {
    std::vector<uint64_t> offsets = day.orders[i].entries;
    std::sort(offsets.begin(), offsets.end());
    offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
    if (total + offsets.size() > limit) break;
    total += offsets.size();
    for (uint64_t offset : offsets) wanted.emplace_back(offset, static_cast<int>(i));
    out.ordersWithLines = i + 1;
  }
  std::sort(wanted.begin(), wanted.end());
  if (wanted.empty()) return out;
  journal::JournalReader reader;
  if (!reader.openPath(day.path)) return out;
  journal::EntryText text(reader.startMicros());
  std::size_t next = 0;
  for (journal::Entry entry; next < wanted.size() && reader.next(entry);) {
    if (entry.offset < wanted[next].first) continue;
    std::string line;
    try {
      line = text.line(entry);
    } catch (const journal::FormatError& error) {
      line = "(entry at offset " + std::to_string(entry.offset) + ": " + error.what() + ")";
    }
    for (; next < wanted.size() && wanted[next].first == entry.offset; ++next) {
      out.lines.emplace_back(wanted[next].second, line);
    }
  }
  return out;
}

void writeHtml(const Day& day, const EntryLines& lines, std::FILE* out) {
  Page page(out);
  page << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Trading day " +
              utcText(day.startMicros, true) + " UTC: " + html(day.program) + "</title><style>" +
              kStyle + "</style></head><body>";
  std::size_t anomalies = 0;
  for (const auto& cases : day.anomalies) anomalies += cases.size();
  const OrderCounts total = totalCounts(day, nullptr);
  page << "<h1>Trading day of " + utcText(day.startMicros, true) + " UTC</h1><p>" +
              std::to_string(total.sent) + " orders, " + std::to_string(total.filled) +
              " filled, " + std::to_string(total.open) + " without a final state; " +
              std::to_string(anomalies) + " anomalies; " + std::to_string(day.entries) +
              " journal entries over " + shown(day.duration) +
              (day.cut.empty() ? "" : "; <span class=\"bad\">the journal is cut</span>") +
              ". <a href=\"#day\">the day</a> · <a href=\"#orders-summary\">orders</a> · "
              "<a href=\"#stages\">latencies</a> · <a href=\"#anomalies\">anomalies</a> · "
              "<a href=\"#table\">every order</a></p>";
  writeDaySection(day, page);
  writeOrdersSection(day, page);
  writeStagesSection(day, page);
  writeAnomaliesSection(day, page);
  writeOrderTable(day, lines, page);
  page << "<script>" + std::string(kScript) + "</script></body></html>\n";
}

void writeJson(const Day& day, std::FILE* out) {
  Page page(out);
  page << "{\"journal\":{\"path\":" + json(day.path) + ",\"program\":" + json(day.program) +
              ",\"process\":" + std::to_string(day.processId) +
              ",\"version\":" + std::to_string(day.version) +
              ",\"start\":" + json(utcText(day.startMicros, true) + "Z") +
              ",\"start_micros\":" + std::to_string(day.startMicros) +
              ",\"duration_us\":" + micros(day.duration) +
              ",\"entries\":" + std::to_string(day.entries) +
              ",\"bytes\":" + std::to_string(day.bytes) +
              ",\"dropped\":" + std::to_string(day.dropped) + ",\"gaps\":[";
  const char* sep = "";
  for (const auto& [offset, lost] : day.gaps) {
    page << sep + ("{\"offset\":" + std::to_string(offset) +
                   ",\"dropped\":" + std::to_string(lost) + "}");
    sep = ",";
  }
  page << "],\"closed\":" + std::string(day.closed ? "true" : "false") +
              ",\"cut\":" + (day.cut.empty() ? std::string("null") : json(day.cut)) +
              ",\"malformed\":[";
  sep = "";
  for (const std::string& m : day.malformed) {
    page << sep + json(m);
    sep = ",";
  }
  page << "]},\n\"sessions\":[";
  sep = "";
  for (const Session& s : day.sessions) {
    const auto between = [](uint64_t a, uint64_t b) {
      return a == kNoTime || b == kNoTime || b < a ? std::string("null") : micros(b - a);
    };
    page << sep +
                ("{\"object\":" + std::to_string(s.object) +
                 ",\"created_us\":" + micros(s.created) + ",\"connect_to_connected_us\":" +
                 between(s.connectSent, s.connected) + ",\"connect_code\":" +
                 (s.connected == kNoTime ? "null" : std::to_string(s.connectCode)) +
                 ",\"login_to_login_us\":" + between(s.loginSent, s.loggedIn) + ",\"login_code\":" +
                 (s.loggedIn == kNoTime ? "null" : std::to_string(s.loginCode)) +
                 ",\"released_us\":" + micros(s.released) + "}");
    sep = ",";
  }
  page << "],\n\"disconnections\":[";
  sep = "";
  for (const Disconnection& d : day.disconnections) {
    page << sep + ("{\"at_us\":" + micros(d.time) + ",\"offset\":" + std::to_string(d.offset) +
                   ",\"object\":" + std::to_string(d.object) +
                   ",\"side\":" + (d.host ? "\"host\"" : "\"vendor\"") +
                   ",\"code\":" + std::to_string(d.code) + ",\"message\":" + json(d.message) + "}");
    sep = ",";
  }
  std::map<std::string, OrderCounts> byInstrument;
  const OrderCounts total = totalCounts(day, &byInstrument);
  const auto counts = [](const OrderCounts& c) {
    std::string text = "{";
    const char* s = "";
    for (const CountColumn& column : kCountColumns) {
      text += s + ("\"" + std::string(column.key) + "\":" + std::to_string(c.*column.field));
      s = ",";
    }
    return text + "}";
  };
  page << "],\n\"orders_summary\":" + counts(total) + ",\n\"by_instrument\":{";
  sep = "";
  for (const auto& [instrument, c] : byInstrument) {
    page << sep + (json(instrument) + ":" + counts(c));
    sep = ",";
  }
  page << "},\n\"refused_answers\":[";
  sep = "";
  for (const auto& [key, value] : day.refusedAnswers) {
    page << sep + ("{\"operation\":" + json(key.first) + ",\"code\":" + std::to_string(key.second) +
                   ",\"count\":" + std::to_string(value.first) +
                   ",\"message\":" + json(value.second) + "}");
    sep = ",";
  }
  page << "],\n\"stages\":{";
  sep = "";
  for (int s = 0; s < kStages; ++s) {
    const Distribution d = distributionOf(day.samples[s]);
    const auto value = [&](uint64_t v) { return d.count == 0 ? std::string("null") : micros(v); };
    page << sep + ("\"" + std::string(stageInfo(s).key) + "\":{\"title\":" +
                   json(stageInfo(s).title) + ",\"count\":" + std::to_string(d.count) +
                   ",\"median_us\":" + value(d.median) + ",\"p90_us\":" + value(d.p90) +
                   ",\"p99_us\":" + value(d.p99) + ",\"max_us\":" + value(d.max) + "}");
    sep = ",";
  }
  page << "},\n\"anomalies\":{";
  sep = "";
  for (int a = 0; a < kAnomalies; ++a) {
    page << sep + ("\"" + std::string(anomalyInfo(a).key) +
                   "\":{\"title\":" + json(anomalyInfo(a).title) +
                   ",\"count\":" + std::to_string(day.anomalies[a].size()) + ",\"cases\":[");
    const char* inner = "";
    for (const AnomalyCase& c : day.anomalies[a]) {
      page << inner +
                  ("{\"order\":" + (c.order < 0 ? std::string("null") : std::to_string(c.order)) +
                   ",\"client_id\":" +
                   (c.order < 0 ? std::string("null") : json(clientIdOf(day, c.order))) +
                   ",\"offset\":" + std::to_string(c.offset) + ",\"vendor_request\":" +
                   std::to_string(c.vendorRequest) + ",\"detail\":" + json(c.detail) + "}");
      inner = ",";
    }
    page << "]}";
    sep = ",\n";
  }
  page << "},\n\"slowest_host_handlers\":[";
  sep = "";
  for (const Handler& h : day.slowestHandlers) {
    page << sep + ("{\"event\":" + json(h.operation) +
                   ",\"order\":" + (h.order < 0 ? std::string("null") : std::to_string(h.order)) +
                   ",\"offset\":" + std::to_string(h.offset) + ",\"took_us\":" + micros(h.took) +
                   "}");
    sep = ",";
  }
  page << "],\n\"orders\":[";
  sep = "";
  for (std::size_t i = 0; i < day.orders.size(); ++i) {
    const Order& o = day.orders[i];
    std::string text =
        "{\"index\":" + std::to_string(i) + ",\"client_id\":" + json(o.clientId) +
        ",\"session\":" + std::to_string(o.session) + ",\"api\":" + std::to_string(o.api) +
        ",\"host_request\":" + std::to_string(o.hostRequest) +
        ",\"vendor_request\":" + std::to_string(o.vendorRequest) +
        ",\"vendor_order\":" + std::to_string(o.vendorOrderId) +
        ",\"exchange_order\":" + json(o.exchangeOrderId) + ",\"instrument\":" + json(o.instrument) +
        ",\"direction\":" + std::to_string(o.direction) +
        ",\"offset_flag\":" + std::to_string(o.offset) + ",\"volume\":" + std::to_string(o.volume) +
        ",\"price\":" + number(o.price, 4) + ",\"filled\":" + std::to_string(o.filled) +
        ",\"outcome\":\"" + outcomeKey(o.outcome) + "\",\"refusal\":" + json(o.refusal) +
        ",\"answer_code\":" + std::to_string(o.answerCode) + ",\"sent_us\":" + micros(o.sent) +
        ",\"stages_us\":{";
    const char* inner = "";
    for (int s = 0; s < kStages; ++s) {
      text += inner + ("\"" + std::string(stageInfo(s).key) + "\":" + micros(o.stage[s]));
      inner = ",";
    }
    text += "},\"anomalies\":{";
    inner = "";
    for (int a = 0; a < kAnomalies; ++a) {
      if (o.anomalies[a] == 0) continue;
      text +=
          inner + ("\"" + std::string(anomalyInfo(a).key) + "\":" + std::to_string(o.anomalies[a]));
      inner = ",";
    }
    page << sep + text + "}}";
    sep = ",\n";
  }
  page << "]}\n";
}

void writeCsv(const Day& day, std::FILE* out) {
  Page page(out);
  page << "index,client_id,session,instrument,direction,offset_flag,volume,price,filled,outcome,"
          "vendor_request,vendor_order,exchange_order,sent_us";
  for (int s = 0; s < kStages; ++s) page << std::string(",") + stageInfo(s).key + "_us";
  page << ",anomalies,refusal\n";
  const auto csv = [](const std::string& text) {
    std::string quoted = "\"";
    for (char c : journal::utf8Text(text))
      quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
  };
  for (std::size_t i = 0; i < day.orders.size(); ++i) {
    const Order& o = day.orders[i];
    std::string line = std::to_string(i) + "," + csv(o.clientId) + "," + std::to_string(o.session) +
                       "," + csv(o.instrument) + "," + std::to_string(o.direction) + "," +
                       std::to_string(o.offset) + "," + std::to_string(o.volume) + "," +
                       number(o.price, 4) + "," + std::to_string(o.filled) + "," +
                       outcomeKey(o.outcome) + "," + std::to_string(o.vendorRequest) + "," +
                       std::to_string(o.vendorOrderId) + "," + csv(o.exchangeOrderId) + "," +
                       (o.sent == kNoTime ? "" : micros(o.sent));
    for (int s = 0; s < kStages; ++s)
      line += "," + (o.stage[s] == kNoTime ? "" : micros(o.stage[s]));
    std::string anomalies;
    for (int a = 0; a < kAnomalies; ++a) {
      if (o.anomalies[a] > 0)
        anomalies += std::string(anomalies.empty() ? "" : " ") + anomalyInfo(a).key;
    }
    line += "," + anomalies + "," + csv(o.refusal) + "\n";
    page << line;
  }
}

}  // namespace report
}  // namespace kestrel
