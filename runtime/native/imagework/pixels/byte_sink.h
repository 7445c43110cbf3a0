// Where the bytes of a file go while a picture is encoded: to memory, or to the file that is being saved.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BYTE_SINK_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BYTE_SINK_H

#include <cassert>
#include <span>
#include <utility>
#include <vector>

#include "runtime/native/imagework/encoded_bytes.h"

namespace zelmor::imagework {

// An encoder either writes its file piece by piece, or gives the whole file at once. What a member throws, the encoder
// throws; the sink is not used afterwards. All calls come from the thread that encodes.
class ByteSink {
 public:
    virtual ~ByteSink() = default;
    // Adds bytes behind those that came before.
    virtual void write(std::span<const uint8_t> bytes) = 0;
    // The whole file, of an encoder that has made it in memory; nothing came before, and nothing follows.
    virtual void write_whole(EncodedBytes file) { write(file.bytes()); }
};

// Keeps the file in memory.
class MemorySink final : public ByteSink {
 public:
    void write(std::span<const uint8_t> bytes) override {
        assert(m_whole.data == nullptr);
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void write_whole(EncodedBytes file) override {
        assert(m_bytes.empty());
        m_whole = std::move(file);
    }
    // The file; the sink has nothing afterwards.
    EncodedBytes take() {
        return m_whole.data != nullptr ? std::exchange(m_whole, {}) : to_encoded(std::exchange(m_bytes, {}));
    }

 private:
    std::vector<uint8_t> m_bytes;
    EncodedBytes m_whole;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BYTE_SINK_H
