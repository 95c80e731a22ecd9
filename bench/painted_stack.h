// How deep a thread's stack gets.

#ifndef BENCH_PAINTED_STACK_H_
#define BENCH_PAINTED_STACK_H_

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>

#include "fixture.h"

namespace bench {

// A stack that is filled with a pattern before a thread runs on it.
class CPaintedStack {
 public:
  CPaintedStack() {
    void* const memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    Require(memory != MAP_FAILED, "no memory for a stack");
    m_bytes = static_cast<unsigned char*>(memory);
  }
  ~CPaintedStack() { munmap(m_bytes, kSize); }
  CPaintedStack(const CPaintedStack&) = delete;
  CPaintedStack& operator=(const CPaintedStack&) = delete;

  // Runs it in a thread and gives the bytes below the frame that calls it.
  std::size_t DepthOf(const std::function<void()>& run) {
    std::memset(m_bytes, kPaint, kSize);
    CJob job{run, nullptr};
    pthread_attr_t attributes;
    pthread_t thread{};
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, m_bytes, kSize);
    Require(pthread_create(&thread, &attributes, Run, &job) == 0, "no thread");
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const unsigned char* const lowest =
        std::find_if(m_bytes, m_bytes + kSize,
                     [](unsigned char byte) { return byte != kPaint; });
    Require(lowest != m_bytes, "a stack is too small");
    return static_cast<std::size_t>(job.frame - lowest);
  }

 private:
  static constexpr std::size_t kSize = 1 << 20;
  static constexpr unsigned char kPaint = 0xa5;

  struct CJob {
    const std::function<void()>& run;
    const unsigned char* frame;
  };

  static void* Run(void* argument) {
    auto* const job = static_cast<CJob*>(argument);
    job->frame = static_cast<unsigned char*>(__builtin_frame_address(0));
    job->run();
    return nullptr;
  }

  unsigned char* m_bytes;
};

}  // namespace bench

#endif  // BENCH_PAINTED_STACK_H_
