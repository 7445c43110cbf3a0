// Working on in a process that was forked after the image library had been at work.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_AFTER_FORK_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_AFTER_FORK_H

namespace zelmor::imagework {

// Called once, at the start of the library.
void watch_forks();

// Called before each step of the library. In a forked process the first call puts the library's threads in order;
// otherwise it does nothing.
void settle_after_fork();

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_AFTER_FORK_H
