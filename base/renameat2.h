// renameat2, for C libraries that do not have it.

#ifndef BASE_RENAMEAT2_H_
#define BASE_RENAMEAT2_H_

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>

#ifndef RENAME_NOREPLACE
constexpr unsigned int RENAME_NOREPLACE = 1;
constexpr unsigned int RENAME_EXCHANGE = 2;

inline int renameat2(int fromDirectory, const char* from, int toDirectory,
                     const char* to, unsigned int flags) {
  return static_cast<int>(
      syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
}
#endif

#endif  // BASE_RENAMEAT2_H_
