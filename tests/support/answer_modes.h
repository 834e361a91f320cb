// The two ways a vendor answers a request: later, on its own callback thread
// (false), or inside the request call itself (true). Suites that run in both
// modes are parameterised on that bool and named by this function.
#ifndef KESTREL_TESTS_SUPPORT_ANSWER_MODES_H_
#define KESTREL_TESTS_SUPPORT_ANSWER_MODES_H_

#include <gtest/gtest.h>

#include <string>

namespace kestrel {
namespace testing {

inline std::string answerModeName(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "Synchronous" : "Asynchronous";
}

}  // namespace testing
}  // namespace kestrel

#endif  // KESTREL_TESTS_SUPPORT_ANSWER_MODES_H_
