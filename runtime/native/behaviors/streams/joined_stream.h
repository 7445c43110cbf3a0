// Several streams shown as one: pieces of them, one after the other.
//
// Reading and writing work on the stream of the piece at the position, so that a change is seen in that stream. Each
// access sets the position of the piece's stream, so that all streams have to be able to seek.
//
// A stream may be a Python file, and its code may do anything during a call: dispose of the joined stream, insert
// another piece, read from it. Therefore the stream in use is held by a reference, and positions that were computed
// before the call are not used after it if the pieces have changed.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_JOINED_STREAM_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_JOINED_STREAM_H

#include <vector>

#include "runtime/native/core/stream.h"

namespace zelmor::embed {

class JoinedStream final : public ManagedStream {
 public:
    // Begins as the whole of a stream, at the same position. An owned stream is disposed of with this one.
    JoinedStream(Ref<ManagedStream> stream, bool owned);

    // Inserts the whole of a stream at a position; the bytes from there on follow it.
    void insert(int64_t at, Ref<ManagedStream> stream, bool owned);

    bool can_read() const override;
    bool can_write() const override;
    bool can_seek() const override;
    int64_t length() override;
    int64_t position() override;
    int64_t seek(int64_t offset, api::SeekOrigin origin) override;
    // A longer stream is filled up with zeros at the end of the last piece. For a shorter one the pieces are cut, but
    // not their streams.
    void set_length(int64_t length) override;
    size_t read(std::span<std::byte> into) override;
    void write(std::span<const std::byte> from) override;
    void flush() override;
    void on_dispose() override;
    void references(ReferenceVisitor& visitor) override;

 private:
    struct Piece {
        Ref<ManagedStream> stream;
        int64_t start;
        int64_t length;
        bool owned;
    };
    // The piece at a position and the offset inside it; the end belongs to the last piece.
    struct Place {
        size_t index;
        int64_t offset;
    };
    Place find(int64_t position) const;
    int64_t total() const;
    void append_zeros(int64_t count);
    // The streams of all pieces, held.
    std::vector<Ref<ManagedStream>> streams() const;
    // ObjectDisposedException or InvalidOperationException if the pieces have changed since m_changes had that value.
    void require_unchanged(uint64_t since) const;

    std::vector<Piece> m_pieces;
    uint64_t m_changes = 0;  // counts the changes of m_pieces
    int64_t m_position = 0;
};

// InvalidOperationException: a Python file changed the stream, or its pieces, during a call.
[[noreturn]] void throw_changed();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_JOINED_STREAM_H
