// Several streams shown as one: pieces of them, one after the other.
//
// What is read and written goes to the piece that the position falls into, so that a change shows in the stream that
// the piece is of. All streams have to be able to seek, since each access puts the piece's stream where it belongs.
//
// The streams may be Python files, which can do anything while they are asked: dispose of the joined stream, put
// another piece in, read from it. So the stream in use is held, and what was found out about the pieces before it was
// asked is not used afterwards if they have changed.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_JOINED_STREAM_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_JOINED_STREAM_H

#include <vector>

#include "runtime/native/core/stream.h"

namespace zelmor::embed {

class JoinedStream final : public ManagedStream {
 public:
    // The whole of a stream to begin with, standing where that one stands. An owned stream goes with this one.
    JoinedStream(Ref<ManagedStream> stream, bool owned);

    // Puts the whole of a stream in at `at`; what was there comes behind it.
    void insert(int64_t at, Ref<ManagedStream> stream, bool owned);

    bool can_read() const override;
    bool can_write() const override;
    bool can_seek() const override;
    int64_t length() override;
    int64_t position() override;
    int64_t seek(int64_t offset, SeekFrom from) override;
    // Made longer, the last piece grows by zeros; made shorter, pieces are cut, though not the streams that they are
    // of.
    void set_length(int64_t length) override;
    size_t read(std::span<std::byte> into) override;
    void write(std::span<const std::byte> from) override;
    void flush() override;
    void on_dispose() override;

 private:
    struct Piece {
        Ref<ManagedStream> stream;
        int64_t start;
        int64_t length;
        bool owned;
    };
    // The piece that a position falls into and the offset inside it; the end belongs to the last piece.
    struct Place {
        size_t index;
        int64_t offset;
    };
    Place find(int64_t position) const;
    int64_t total() const;
    void append_zeros(int64_t count);
    // The streams of all pieces, held.
    std::vector<Ref<ManagedStream>> streams() const;
    // ObjectDisposedException or InvalidOperationException if the pieces are no longer those of that time.
    void require_unchanged(uint64_t since) const;

    std::vector<Piece> m_pieces;
    uint64_t m_changes = 0;  // of what pieces there are, and where
    int64_t m_position = 0;
};

// A stream, or what it is made of, was changed by a Python file that was asked for something meanwhile.
[[noreturn]] void throw_changed();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_STREAMS_JOINED_STREAM_H
