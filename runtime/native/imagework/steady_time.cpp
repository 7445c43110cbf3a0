// The clock by which changes of pictures are dated. It has a file of its own: <chrono> takes the compiler long to read.
#include <chrono>

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

int64_t steady_time() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace zelmor::imagework
