// The host's base information: exchange codes and numbers.
#include "plugin/common.h"

namespace kestrel {

// Starts as an empty map, so that a reader never meets a null pointer.
std::shared_ptr<BaseInformationMap> gBaseInformationMap = std::make_shared<BaseInformationMap>();

void addChinaExchanges(BaseInformationMap& map) {
  struct Exchange {
    int32_t number;
    const char* code;
    const char* name;
  };
  static const Exchange kExchanges[] = {
      {1, "SH", "Shanghai Stock Exchange"},
      {2, "SZ", "Shenzhen Stock Exchange"},
      {3, "SHFE", "Shanghai Futures Exchange"},
      {4, "DCE", "Dalian Commodity Exchange"},
      {5, "CZCE", "Zhengzhou Commodity Exchange"},
      {6, "CFFEX", "China Financial Futures Exchange"},
      {7, "INE", "Shanghai International Energy Exchange"},
      {8, "GFEX", "Guangzhou Futures Exchange"},
      {9, "BJ", "Beijing Stock Exchange"},
  };
  for (const Exchange& e : kExchanges) {
    map.exchangeNumbers[e.code] = ExchangeNumberEntry{e.number, e.name};
    map.exchangeCodes[e.number] = ExchangeCodeEntry{e.code, e.name};
  }
}

}  // namespace kestrel
