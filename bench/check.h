// What a check by the tool costs.

#ifndef BENCH_CHECK_H_
#define BENCH_CHECK_H_

#include <string>

namespace bench {

// Prints the time of a whole check, the program's start included, and what it
// is in terms of a listing, on the files of a fixture.
void CompareCheck(const std::string& root, int records, int rounds);

}  // namespace bench

#endif  // BENCH_CHECK_H_
