// What the targets of the fuzzer share.

#ifndef TESTS_TORTURE_FUZZ_H_
#define TESTS_TORTURE_FUZZ_H_

#include <iostream>
#include <map>

#include "../test_util.h"

namespace KivDB {

// Each takes any input in a folder of its own, and ends the process where a
// promise is broken.
using FuzzTarget = void (*)(const std::string& input);
using FuzzTargets = std::map<std::string, FuzzTarget>;
FuzzTargets ToolTargets();

inline std::string ToZero(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

template <typename A, typename B>
void Expect(const A& wanted, const B& got) {
  if (wanted == got) return;
  std::cerr << "wanted [" << wanted << "], got [" << got << "]" << std::endl;
  std::abort();
}

}  // namespace KivDB

#endif  // TESTS_TORTURE_FUZZ_H_
