// An encoded picture: the bytes of a file, and their owner.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_ENCODED_BYTES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_ENCODED_BYTES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace zelmor::imagework {

// The bytes live as long as a copy of this.
struct EncodedBytes {
    std::shared_ptr<const uint8_t> data;
    size_t size = 0;

    std::span<const uint8_t> bytes() const { return {data.get(), size}; }
};

inline EncodedBytes to_encoded(std::vector<uint8_t> bytes) {
    const auto owner = std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
    return {std::shared_ptr<const uint8_t>(owner, owner->data()), owner->size()};
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_ENCODED_BYTES_H
