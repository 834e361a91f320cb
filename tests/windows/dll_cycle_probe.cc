// A host in a folder of its own that loads the released DLLs from another
// folder, the ways docs/host-guide.md documents, and then loads and frees
// each of them many times in one process. It links none of the project's
// DLLs: everything is loaded at run time, as a host does.
//
//   dll_cycle_probe.exe DLL_FOLDER CYCLES
//
// 1. Loading from another folder: a plain LoadLibraryW(full path) fails with
//    error 126 (the plug-in's XtTraderApi.dll and Common.dll are looked for
//    beside this program); LoadLibraryExW with LOAD_WITH_ALTERED_SEARCH_PATH
//    loads it, and so does AddDllDirectory with the search flags.
// 2. The static runtime inside a DLL (runtime_probe.dll, built with it like
//    every DLL of this build): each piece shown at work, then the DLL loaded
//    and freed CYCLES times, its static destructor run at each unload.
// 3. CYCLES rounds of: Common.dll and XtTraderApi.dll loaded and freed; the
//    plug-in loaded, a session connected, logged in (as the user of the
//    counter configuration beside THIS program: the configuration is read
//    beside the host program), an order filled, the session released, the
//    vendor's threads ended, the plug-in freed and every DLL gone from the
//    process. Handles, the heaps' bytes and blocks in use, private memory
//    and threads are measured after the first rounds and at the end: no
//    round may leave any behind.
// Exit code 0 when every row held; each failed row is printed.
#define NOMINMAX
#include <windows.h>
//
#include <psapi.h>
#include <tlhelp32.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "plugin/common.h"
#include "plugin/plugin_entry.h"
#include "plugin/trade_session_spi.h"

namespace {

int failures = 0;

// What the rounds after the tenth may leave behind in all, from what Wine
// itself keeps of them, measured (docs/windows.md). On the heaps, where every
// block counts to the byte, Wine keeps nothing: the bounds leave less than
// one byte and one block a round (990 rounds), so one of ours a round fails.
// The private memory moves by whole pages, and Wine's grew by up to 16 KB
// once in the runs measured; memory outside the heaps (a thread's stack, a
// mapping) comes by pages, so one page kept every 50 rounds of ours fails.
constexpr long long kAllowedHeapBytes = 512;
constexpr long long kAllowedHeapBlocks = 8;
constexpr long long kAllowedPrivateBytes = 64 * 1024;

void check(bool ok, const std::string& row) {
  std::printf("%-4s %s\n", ok ? "ok" : "FAIL", row.c_str());
  if (!ok) ++failures;
}

std::wstring widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

std::wstring programFolder() {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring folder(path, length);
  return folder.substr(0, folder.find_last_of(L"\\/"));
}

// The threads of this process that Windows' thread pool did not start: the
// program's own, and those the plug-in and the vendor library start (the
// pool's idle workers, which std::async uses, stay a few seconds after
// their last task and run none of our code then).
int threadCount() {
  using Query = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  static const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void (*)()>(GetProcAddress(ntdll, "NtQueryInformationThread")));
  MODULEINFO info = {};
  K32GetModuleInformation(GetCurrentProcess(), ntdll, &info, sizeof(info));
  const auto* poolStart = static_cast<const char*>(info.lpBaseOfDll);
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof(entry);
  int count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID != GetCurrentProcessId()) continue;
    const HANDLE thread = OpenThread(THREAD_QUERY_INFORMATION, FALSE, entry.th32ThreadID);
    const char* start = nullptr;
    if (thread != nullptr) {
      query(thread, 9 /* ThreadQuerySetWin32StartAddress */, &start, sizeof(start), nullptr);
      CloseHandle(thread);
    }
    if (start < poolStart || start >= poolStart + info.SizeOfImage) ++count;
  }
  CloseHandle(snapshot);
  return count;
}

// The bytes and blocks in use on the heaps.
struct HeapUse {
  SIZE_T bytes = 0;
  SIZE_T blocks = 0;
};

struct Usage {
  DWORD handles = 0;
  SIZE_T privateBytes = 0;
  HeapUse heap;
  int threads = 0;
};

// The bytes and blocks in use in every heap of the process: the C runtime's
// (malloc, operator new) and the process heap among them. Exact to the byte,
// where the private memory moves by whole pages. Nothing is allocated while
// the heaps are walked, so the walk does not count itself.
bool heapInUse(HeapUse& use) {
  HANDLE heaps[256];
  const DWORD count = GetProcessHeaps(256, heaps);
  if (count == 0 || count > 256) return false;
  use = HeapUse();
  for (DWORD i = 0; i < count; ++i) {
    if (!HeapLock(heaps[i])) return false;
    PROCESS_HEAP_ENTRY entry = {};
    while (HeapWalk(heaps[i], &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
        use.bytes += entry.cbData;
        ++use.blocks;
      }
    }
    HeapUnlock(heaps[i]);
  }
  return use.blocks > 0;
}

long long grew(SIZE_T before, SIZE_T after) {
  return static_cast<long long>(after) - static_cast<long long>(before);
}

std::string change(SIZE_T before, SIZE_T after) {
  return std::to_string(before) + " -> " + std::to_string(after);
}

// A row of the heaps from `before` to `after`: within the allowance?
void checkHeap(const HeapUse& before, const HeapUse& after, const std::string& when) {
  check(grew(before.bytes, after.bytes) <= kAllowedHeapBytes &&
            grew(before.blocks, after.blocks) <= kAllowedHeapBlocks,
        "heap bytes (blocks) in use " + when + ": " + change(before.bytes, after.bytes) + " (" +
            change(before.blocks, after.blocks) + ")");
}

// False when Windows (or Wine) does not tell. Wine does not count a
// process's handles (GetProcessHandleCount gives 0), so the handle figure is
// the slot of a new handle: the handle table gives out its lowest free slot,
// and each handle a round leaves open moves that slot up.
bool usage(Usage& u) {
  PROCESS_MEMORY_COUNTERS counters = {};
  counters.cb = sizeof(counters);
  const bool measured = K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  u.privateBytes = counters.PagefileUsage;  // the private committed memory
  const HANDLE probe = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  u.handles = static_cast<DWORD>(reinterpret_cast<uintptr_t>(probe) / 4);
  CloseHandle(probe);
  u.threads = threadCount();
  const bool walked = heapInUse(u.heap);
  return measured && walked && probe != nullptr && u.privateBytes > 0;
}

// Waits until `done` holds, polling; false after 20 s.
template <typename Condition>
bool eventually(Condition done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    Sleep(1);
  }
  return true;
}

// The host's callback object: keeps each event's name and code.
class Host : public kestrel::ITradeSessionSpi {
 public:
  void onConnected(const kestrel::ResultStatus& s) override { add("onConnected", s); }
  void onLogin(const kestrel::ResultStatus& s, const kestrel::LoginReply&) override {
    add("onLogin", s);
  }
  void onDisconnected(const kestrel::ResultStatus& s) override { add("onDisconnected", s); }
  void onFill(const kestrel::FillRecord*, const kestrel::ResultStatus& s, int, bool) override {
    add("onFill", s);
  }
  void onOrderRejected(const kestrel::OrderRecord*, const kestrel::ResultStatus& s, int,
                       bool) override {
    add("onOrderRejected", s);
  }

  // The code of the first `event` within 20 s; -9999 when none came.
  int await(const std::string& event) {
    std::unique_lock<std::mutex> lock(mutex_);
    int code = -9999;
    changed_.wait_for(lock, std::chrono::seconds(20), [&] {
      for (const auto& [name, c] : seen_) {
        if (name == event) return code = c, true;
      }
      return false;
    });
    return code;
  }

 private:
  void add(const char* event, const kestrel::ResultStatus& s) {
    std::lock_guard<std::mutex> lock(mutex_);
    seen_.emplace_back(event, s.code);
    changed_.notify_all();
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::pair<std::string, int>> seen_;
};

// Common.dll's exports in Visual C++'s decoration: the host's base
// information and the stand-in's exchange table.
const char kBaseInformationMap[] =
    "?gBaseInformationMap@kestrel@@3V?$shared_ptr@UBaseInformationMap@kestrel@@@std@@A";
const char kAddChinaExchanges[] = "?addChinaExchanges@kestrel@@YAXAEAUBaseInformationMap@1@@Z";

template <typename Function>
Function entry(HMODULE module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

// One session through the plug-in loaded as `plugin`: connect, login, an
// order that fills, release (or, without `trade`, connect and release at
// once); returns what failed, empty when nothing did.
std::string tradeOnce(HMODULE plugin, int round, bool trade = true) {
  const HMODULE common = GetModuleHandleW(L"Common.dll");
  auto* base = entry<std::shared_ptr<kestrel::BaseInformationMap>*>(common, kBaseInformationMap);
  auto add = entry<void (*)(kestrel::BaseInformationMap&)>(common, kAddChinaExchanges);
  auto create =
      entry<kestrel::CreateTradeSessionFunction>(plugin, kestrel::kCreateTradeSessionName);
  if (base == nullptr || add == nullptr || create == nullptr) return "entry points not found";
  add(**base);

  Host host;
  kestrel::ITradeSession* session = create();
  kestrel::SessionConfig config;
  config.userName = "elsewhere";
  config.password = "pw";
  config.server.serverAddresses.push_back(kestrel::AddressEntry{"tcp://127.0.0.1:5800", ""});
  std::string failed;
  if (session->setConfig(config).code != 0 || session->registerSpi(&host).code != 0 ||
      session->connect().code != 0 || host.await("onConnected") != 0) {
    failed = "connect";
  } else if (!trade) {
  } else if (session->login().code != 0 || host.await("onLogin") != 0) {
    failed = "login as the user of the configuration beside the program";
  } else {
    int request = 10;
    // The fund account is named in a push right after the login reply.
    if (!eventually([&] { return session->reqQryTradingAccount(++request).code != -3; })) {
      failed = "no fund account";
    } else {
      kestrel::AccountOrderNewRequest order;
      order.codeId.exchange = 3;  // SHFE
      order.codeId.code = "rb2410";
      order.clientId = kestrel::ClientId{"cycle", std::to_string(round)};
      order.quantity = 1;
      order.priceType = 2;  // any price
      order.direction = 1;
      order.offsetFlag = 1;
      if (session->sendOrder(++request, order).code != 0 || host.await("onFill") != 0) {
        failed = "an order that fills";
      }
    }
  }
  if (session->release().code != 0 || host.await("onDisconnected") != 0) failed += " release";
  return failed;
}

bool gone(const wchar_t* module) { return GetModuleHandleW(module) == nullptr; }

void loadingFromAnotherFolder(const std::wstring& plugin, const std::wstring& folder) {
  SetLastError(0);
  HMODULE module = LoadLibraryW(plugin.c_str());
  const DWORD error = GetLastError();
  check(module == nullptr && error == ERROR_MOD_NOT_FOUND,
        "LoadLibraryW(full path) from another folder fails with 126: " + std::to_string(error));
  if (module != nullptr) FreeLibrary(module);

  module = LoadLibraryExW(plugin.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  check(module != nullptr && GetProcAddress(module, "CreateTradeSession") != nullptr,
        "LoadLibraryExW(full path, LOAD_WITH_ALTERED_SEARCH_PATH) loads the plug-in");
  if (module != nullptr) FreeLibrary(module);
  check(gone(L"KSTraderAPIPluginXT.dll") && gone(L"XtTraderApi.dll") && gone(L"Common.dll"),
        "FreeLibrary unloads the plug-in and both DLLs it brought");

  const DLL_DIRECTORY_COOKIE cookie = AddDllDirectory(folder.c_str());
  module = LoadLibraryExW(plugin.c_str(), nullptr,
                          LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  check(cookie != nullptr && module != nullptr,
        "AddDllDirectory + LoadLibraryExW(LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | "
        "LOAD_LIBRARY_SEARCH_DEFAULT_DIRS) loads the plug-in");
  if (module != nullptr) FreeLibrary(module);
  if (cookie != nullptr) RemoveDllDirectory(cookie);
}

void runtimeInsideADll(const std::wstring& probePath, int cycles) {
  HMODULE probe = LoadLibraryExW(probePath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  check(probe != nullptr, "runtime_probe.dll loads");
  if (probe == nullptr) return;
  check(entry<int (*)()>(probe, "probeConstructedBeforeDllMain")() == 1,
        "entry point and initializer tables: a static object built before DllMain");

  std::atomic<int> threadEnds{0};
  entry<void (*)(std::atomic<int>*)>(probe, "probeWatchThreadEnds")(&threadEnds);
  auto serial = entry<int (*)()>(probe, "probeThreadSerial");
  const int mine = serial();
  int theirs = 0, theirsAgain = 0;
  std::thread([&] {
    theirs = serial();
    theirsAgain = serial();
  }).join();
  check(serial() == mine && theirs == theirsAgain && theirs != mine && threadEnds.load() == 1,
        "TLS directory: a thread_local per thread, destroyed at its thread's end (" +
            std::to_string(threadEnds.load()) + " destroyed)");

  std::atomic<int> arrived{0};
  auto shared = entry<int (*)(std::atomic<int>*, int)>(probe, "probeSharedStatic");
  std::vector<std::thread> threads;
  std::vector<int> values(4);
  for (int i = 0; i < 4; ++i) threads.emplace_back([&, i] { values[i] = shared(&arrived, 4); });
  for (auto& thread : threads) thread.join();
  check(entry<int (*)()>(probe, "probeStaticInitializations")() == 1 &&
            values == std::vector<int>(4, 42),
        "thread-safe statics: one initialization across 4 threads");
  check(entry<int (*)()>(probe, "probeReplacedNewCalls")() == 2,
        "operator new: the DLL's own replacement is the one called, also by the runtime's new[]");
  const uint64_t cookie = entry<uint64_t (*)()>(probe, "probeSecurityCookie")();
  const uint64_t made = entry<uint64_t (*)()>(probe, "probeSecurityCookieInitialized")();
  check(cookie != 0x00002B992DDFA232ull && cookie != 0 && made != 0x00002B992DDFA232ull &&
            made != 0 && (made >> 48) == 0,
        "security cookie: not the default before the DLL's code ran; __security_init_cookie "
        "makes one of the default");
  FreeLibrary(probe);

  // Each time also a thread the DLL starts and joins (its thread_local built
  // and destroyed): what Wine's loader and C runtime keep of a DLL freed
  // after a thread of its own ran, measured on the heaps as the rounds below
  // are, with nothing of the plug-in or the vendor library involved.
  std::atomic<int> unloads{0};
  int loaded = 0;
  HeapUse warm, end;
  for (int i = 0; i < cycles; ++i) {
    probe = LoadLibraryExW(probePath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (probe == nullptr) break;
    ++loaded;
    entry<void (*)(std::atomic<int>*)>(probe, "probeWatchUnload")(&unloads);
    entry<int (*)()>(probe, "probeRunThread")();
    FreeLibrary(probe);
    if (i == 9) heapInUse(warm);
  }
  check(loaded == cycles && unloads.load() == cycles && gone(L"runtime_probe.dll"),
        "atexit: the DLL's static destructor ran at each of " + std::to_string(loaded) +
            " unloads (" + std::to_string(unloads.load()) + " times)");
  if (cycles > 10 && heapInUse(end)) {
    checkHeap(warm, end,
              "(Wine's share) after the 10th load of runtime_probe.dll with a thread of its own "
              "and at the end");
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // every row, also when a later one hangs
  if (argc != 3) {
    std::fprintf(stderr, "usage: dll_cycle_probe DLL_FOLDER CYCLES\n");
    return 2;
  }
  const std::wstring folder = widen(argv[1]);
  const int cycles = std::atoi(argv[2]);
  const std::wstring plugin = folder + L"\\KSTraderAPIPluginXT.dll";

  // The counter's configuration beside this program, with a user of its own.
  CreateDirectoryW((programFolder() + L"\\config").c_str(), nullptr);
  std::ofstream(programFolder() + L"\\config\\xt_config")
      << "[user elsewhere]\npassword = pw\naccounts = F1\n[account F1]\ncash = 1000000\n"
         "[instrument rb2410]\nexchange = SHFE\nprice = 3650\nmultiplier = 10\n"
         "margin_rate = 0.1\ntick = 1\nband_percent = 7\n";

  loadingFromAnotherFolder(plugin, folder);
  runtimeInsideADll(folder + L"\\runtime_probe.dll", cycles);

  const auto started = std::chrono::steady_clock::now();
  Usage warm, end;
  bool measured = true;
  int completed = 0;
  std::string failed;
  // The process's own threads, counted once: each round waits until the
  // count is back to this before it frees the plug-in, so every round
  // starts with it (a Toolhelp snapshot costs about 10 ms under Wine).
  const int threadsBefore = threadCount();
  // After every tenth traded round one more: the plug-in loaded again, a
  // session connected and released at once, the plug-in freed as soon as the
  // vendor's threads ended (release() must leave no thread in its code).
  for (int round = 0; round < cycles && failed.empty(); ++round) {
    for (const wchar_t* name : {L"\\Common.dll", L"\\XtTraderApi.dll"}) {
      HMODULE module =
          LoadLibraryExW((folder + name).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
      if (module == nullptr || !FreeLibrary(module) || !gone(name + 1)) failed = "load/free";
    }
    HMODULE module = LoadLibraryExW(plugin.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
      failed = "loading the plug-in";
      break;
    }
    const std::string traded = tradeOnce(module, round);
    if (!traded.empty()) failed = traded;
    if (round % 10 == 9) {
      if (!eventually([&] { return threadCount() <= threadsBefore; })) failed += " threads left";
      FreeLibrary(module);
      module = LoadLibraryExW(plugin.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
      const std::string released = module ? tradeOnce(module, round, false) : "reloading";
      if (!released.empty()) failed += " " + released;
    }
    // release() leaves a worker in the vendor library until its threads end:
    // the plug-in may be unloaded only after that (plugin/plugin_entry.h).
    if (!eventually([&] { return threadCount() <= threadsBefore; })) failed += " threads left";
    FreeLibrary(module);
    if (!gone(L"KSTraderAPIPluginXT.dll") || !gone(L"XtTraderApi.dll") || !gone(L"Common.dll")) {
      failed += " a DLL still loaded";
    }
    if (failed.empty()) ++completed;
    if (round == 9) measured = usage(warm);
    if ((round + 1) % 250 == 0) {
      Usage now;
      usage(now);
      std::printf(
          "     after round %d: heap %zu bytes in %zu blocks, private bytes %zu, first free "
          "handle slot %lu\n",
          round + 1, static_cast<size_t>(now.heap.bytes), static_cast<size_t>(now.heap.blocks),
          static_cast<size_t>(now.privateBytes), static_cast<unsigned long>(now.handles));
    }
  }
  measured = usage(end) && measured;
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  check(completed == cycles, std::to_string(completed) + " of " + std::to_string(cycles) +
                                 " rounds loaded, traded, released and freed in " +
                                 std::to_string(seconds) + " s" +
                                 (failed.empty() ? "" : "; then: " + failed));
  check(measured || cycles <= 10, "handles, heaps and private memory measured");
  if (cycles > 10) {
    check(end.handles <= warm.handles + 8,
          "first free handle slot after round 10 and at the end: " +
              change(warm.handles, end.handles));
    checkHeap(warm.heap, end.heap, "after round 10 and at the end");
    check(grew(warm.privateBytes, end.privateBytes) <= kAllowedPrivateBytes,
          "private bytes after round 10 and at the end: " +
              change(warm.privateBytes, end.privateBytes));
    check(end.threads <= warm.threads,
          "threads after round 10 and at the end: " + change(warm.threads, end.threads));
  }
  std::printf("%d failed rows\n", failures);
  return failures == 0 ? 0 : 1;
}
