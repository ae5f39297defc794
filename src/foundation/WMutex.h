#ifndef VELOX_FOUNDATION_WMUTEX_H
#define VELOX_FOUNDATION_WMUTEX_H

#include <variant>

#include <pthread.h>

/// What a WMutex stands on. Both operations return 1 for success and 0 for failure.
class Lockable {
 public:
  Lockable() = default;
  Lockable(const Lockable&) = delete;
  Lockable& operator=(const Lockable&) = delete;
  virtual ~Lockable() = default;

  virtual unsigned int Lock() = 0;
  virtual unsigned int Unlock() = 0;
};

/// A POSIX mutex with default attributes: not recursive.
class SimpleMutexImpl_POSIX : public Lockable {
 public:
  SimpleMutexImpl_POSIX() { pthread_mutex_init(&mutex_, nullptr); }
  SimpleMutexImpl_POSIX(const SimpleMutexImpl_POSIX&) = delete;
  SimpleMutexImpl_POSIX& operator=(const SimpleMutexImpl_POSIX&) = delete;
  ~SimpleMutexImpl_POSIX() override { pthread_mutex_destroy(&mutex_); }
  unsigned int Lock() override { return pthread_mutex_lock(&mutex_) == 0 ? 1 : 0; }
  unsigned int Unlock() override { return pthread_mutex_unlock(&mutex_) == 0 ? 1 : 0; }

 private:
  pthread_mutex_t mutex_ = {};
};

/// Never blocks and always succeeds.
class NullMutexImpl : public Lockable {
 public:
  unsigned int Lock() override { return 1; }
  unsigned int Unlock() override { return 1; }
};

/// A mutex of one of two kinds: 0 never blocks, every other number is a real one. It needs no
/// memory of its own, so one may be constructed before `main`, where nobody could tell that there
/// is none.
class WMutex {
 public:
  explicit WMutex(unsigned int kind) { WMutex::InitializeLockable(kind); }
  WMutex(const WMutex&) = delete;
  WMutex& operator=(const WMutex&) = delete;
  virtual ~WMutex() = default;

  /// Installs a fresh lock of that kind. REQUIRES that nobody holds the one that goes.
  virtual void InitializeLockable(unsigned int kind) {
    if (kind == 0) {
      lock_.emplace<NullMutexImpl>();
    } else {
      lock_.emplace<SimpleMutexImpl_POSIX>();
    }
  }
  unsigned int Lock() { return lockable().Lock(); }
  unsigned int Unlock() { return lockable().Unlock(); }

 private:
  Lockable& lockable() {
    return std::visit([](Lockable& lock) -> Lockable& { return lock; }, lock_);
  }

  std::variant<NullMutexImpl, SimpleMutexImpl_POSIX> lock_;
};

/// Locks for its own lifetime. It also unlocks after a failed lock.
class ScopedLockGuard {
 public:
  explicit ScopedLockGuard(WMutex& mutex) : mutex_(&mutex) { mutex.Lock(); }
  ScopedLockGuard(const ScopedLockGuard&) = delete;
  ScopedLockGuard& operator=(const ScopedLockGuard&) = delete;
  virtual ~ScopedLockGuard() { mutex_->Unlock(); }

 private:
  WMutex* mutex_;
};

#endif
