// What a loop over a listing costs.

#ifndef BENCH_LOOPS_H_
#define BENCH_LOOPS_H_

#include <string>

namespace bench {

// Prints the cost of a listing through CListing, in terms of one by
// ListRecords*, on the files of a fixture.
void CompareLoops(const std::string& root, int records, int rounds);

}  // namespace bench

#endif  // BENCH_LOOPS_H_
