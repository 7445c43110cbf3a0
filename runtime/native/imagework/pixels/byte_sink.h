// Where the bytes of a file go while a picture is encoded: to memory, or to the file that is being saved.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BYTE_SINK_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BYTE_SINK_H

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "runtime/native/imagework/encoded_bytes.h"

namespace zelmor::imagework {

// A file that is not complete yet: what was written can be read again and written over.
class EditableFile {
 public:
    virtual ~EditableFile() = default;
    virtual uint64_t size() const = 0;
    // Puts bytes at an offset, over those that are there. The file grows where they go beyond its end; bytes between
    // its old end and the offset are zeros.
    virtual void write_at(uint64_t offset, std::span<const uint8_t> bytes) = 0;
    // Copies bytes that were written; all of them are there.
    virtual void read_at(uint64_t offset, std::span<uint8_t> out) const = 0;
};

// An encoder writes its file piece by piece, in any order where the sink is editable, or gives the whole file at once.
// What a member throws, the encoder throws; the sink is not used afterwards. All calls come from the thread that
// encodes.
class ByteSink {
 public:
    virtual ~ByteSink() = default;
    // Adds bytes behind those that came before.
    virtual void write(std::span<const uint8_t> bytes) = 0;
    // The whole file, of an encoder that has made it in memory; nothing came before, and nothing follows.
    virtual void write_whole(EncodedBytes file) { write(file.bytes()); }
    // The file itself, for an encoder that writes it in an order of its own; null where bytes can only be added. It
    // lives as long as the sink. Nothing came before, and the other members are not called then.
    virtual EditableFile* editable() { return nullptr; }
};

// Keeps the file in memory.
class MemorySink final : public ByteSink, public EditableFile {
 public:
    void write(std::span<const uint8_t> bytes) override {
        assert(m_whole.data == nullptr);
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void write_whole(EncodedBytes file) override {
        assert(m_bytes.empty());
        m_whole = std::move(file);
    }
    EditableFile* editable() override { return this; }

    uint64_t size() const override { return m_bytes.size(); }
    void write_at(uint64_t offset, std::span<const uint8_t> bytes) override {
        assert(m_whole.data == nullptr);
        const uint64_t end = offset + bytes.size();
        if (end > m_bytes.size()) {
            m_bytes.resize(static_cast<size_t>(end));
        }
        std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    void read_at(uint64_t offset, std::span<uint8_t> out) const override {
        assert(offset <= m_bytes.size() && out.size() <= m_bytes.size() - offset);
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
    }

    // The file; the sink has nothing afterwards.
    EncodedBytes take() {
        return m_whole.data != nullptr ? std::exchange(m_whole, {}) : to_encoded(std::exchange(m_bytes, {}));
    }

 private:
    std::vector<uint8_t> m_bytes;
    EncodedBytes m_whole;
};

// Writes an encoder's file where it belongs: into the sink if that is editable, and otherwise into memory first.
template <class Encode>
void write_editable(ByteSink& out, Encode encode) {
    if (EditableFile* file = out.editable()) {
        return encode(*file);
    }
    MemorySink memory;
    encode(memory);
    out.write_whole(memory.take());
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BYTE_SINK_H
