// A lock without a destructor: the program's threads may still call in while the process ends.
#ifndef QV_BENCH_DLL_LOCK_H
#define QV_BENCH_DLL_LOCK_H

#include <windows.h>

namespace bench {

class Guard {
  public:
    explicit Guard(SRWLOCK* lock) : lock_(lock) {
        AcquireSRWLockExclusive(lock_);
    }
    ~Guard() {
        ReleaseSRWLockExclusive(lock_);
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

  private:
    SRWLOCK* lock_;
};

} // namespace bench

#endif
