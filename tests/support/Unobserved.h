#ifndef UNOBSERVED_H
#define UNOBSERVED_H

#include <mutex>

/// ThreadSanitizer's switches; absent in every other build.
extern "C" {
void AnnotateIgnoreSyncBegin(const char* file, int line) __attribute__((weak));
void AnnotateIgnoreSyncEnd(const char* file, int line) __attribute__((weak));
void AnnotateIgnoreReadsBegin(const char* file, int line) __attribute__((weak));
void AnnotateIgnoreReadsEnd(const char* file, int line) __attribute__((weak));
void AnnotateIgnoreWritesBegin(const char* file, int line) __attribute__((weak));
void AnnotateIgnoreWritesEnd(const char* file, int line) __attribute__((weak));
}

/// While one lives, ThreadSanitizer doesn't look at this thread. The ground's own lock would otherwise put
/// the library's threads in an order that they don't have on a unit, and hide their races.
class Unobserved {
public:
    Unobserved() {
        if (AnnotateIgnoreSyncBegin == nullptr)
            return;
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
        AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
        AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    }
    ~Unobserved() {
        if (AnnotateIgnoreSyncBegin == nullptr)
            return;
        AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
        AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
        AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
    }
    Unobserved(const Unobserved&) = delete;
    Unobserved& operator=(const Unobserved&) = delete;
};

/// Guards everything that the ground records, out of ThreadSanitizer's sight. Not recursive: run no hook of a
/// test while one lives.
class GroundLock {
public:
    GroundLock() : lock_(mutex()) {}

    std::unique_lock<std::mutex>& native() { return lock_; }

private:
    static std::mutex& mutex();

    Unobserved unobserved_; // before the lock: taking and giving it back go unseen too
    std::unique_lock<std::mutex> lock_;
};

#endif
