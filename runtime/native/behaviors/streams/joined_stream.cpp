// The joined stream; see joined_stream.h.
#include "runtime/native/behaviors/streams/joined_stream.h"

#include <algorithm>
#include <cassert>
#include <numeric>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

using api::SeekOrigin;

constexpr int64_t kZeros = 64 * 1024;

void require_seeking(const ManagedStream& stream) {
    if (!stream.can_seek()) {
        throw ManagedException("NotSupportedException", "A stream that cannot seek cannot be joined with others.");
    }
}

}  // namespace

JoinedStream::JoinedStream(Ref<ManagedStream> stream, bool owned)
    : ManagedStream(intern_type("Zelmor.Imaging.JoinedStream", TypeKind::kClass, &stream_type())) {
    require_seeking(*stream);
    m_position = stream->position();
    const int64_t length = stream->length();
    m_pieces.push_back({std::move(stream), 0, length, owned});
    track();
}

void throw_changed() {
    throw_invalid_operation("The stream was changed by the file behind it while that was in use.");
}

std::vector<Ref<ManagedStream>> JoinedStream::streams() const {
    std::vector<Ref<ManagedStream>> streams;
    for (const Piece& piece : m_pieces) {
        streams.push_back(piece.stream);
    }
    return streams;
}

void JoinedStream::require_unchanged(uint64_t since) const {
    require_live();
    if (m_changes != since) {
        throw_changed();
    }
}

void JoinedStream::insert(int64_t at, Ref<ManagedStream> stream, bool owned) {
    require_seeking(*stream);
    const int64_t length = stream->length();
    require_live();
    if (at < 0 || at > total()) {
        throw_out_of_range("position", "The position " + std::to_string(at) + " lies outside a stream of " +
                                           std::to_string(total()) + " bytes.");
    }
    ++m_changes;
    auto [index, offset] = find(at);
    if (offset > 0) {
        Piece behind = m_pieces[index];
        behind.start += offset;
        behind.length -= offset;
        m_pieces[index].length = offset;
        ++index;
        // A cut at the end leaves no piece behind it: bytes written there go to the inserted stream.
        if (behind.length > 0) {
            m_pieces.insert(m_pieces.begin() + static_cast<ptrdiff_t>(index), std::move(behind));
        }
    }
    m_pieces.insert(m_pieces.begin() + static_cast<ptrdiff_t>(index), {std::move(stream), 0, length, owned});
}

bool JoinedStream::can_read() const {
    return !disposed() && std::ranges::all_of(streams(), [](const auto& stream) { return stream->can_read(); });
}
bool JoinedStream::can_write() const {
    return !disposed() && std::ranges::all_of(streams(), [](const auto& stream) { return stream->can_write(); });
}
bool JoinedStream::can_seek() const {
    return !disposed();
}

int64_t JoinedStream::total() const {
    return std::accumulate(m_pieces.begin(), m_pieces.end(), int64_t{0},
                           [](int64_t sum, const Piece& piece) { return sum + piece.length; });
}
int64_t JoinedStream::length() {
    require_live();
    return total();
}
int64_t JoinedStream::position() {
    require_live();
    return m_position;
}

JoinedStream::Place JoinedStream::find(int64_t position) const {
    assert(!m_pieces.empty() && position >= 0);
    size_t index = 0;
    while (index + 1 < m_pieces.size() && position >= m_pieces[index].length) {
        position -= m_pieces[index++].length;
    }
    return {index, position};
}

int64_t JoinedStream::seek(int64_t offset, SeekOrigin origin) {
    require_live();
    const int64_t base = origin == SeekOrigin::kBegin ? 0 : origin == SeekOrigin::kCurrent ? m_position : total();
    int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) {
        throw ManagedException("IOException", "The position cannot be moved before the beginning of the stream.");
    }
    return m_position = target;
}

// If the last piece is a part of its stream, that stream has bytes behind the piece, which are overwritten by zeros.
// Behind the end of the stream one zero is written at the last place: the stream fills the gap by itself, or refuses at
// once.
void JoinedStream::append_zeros(int64_t count) {
    assert(count > 0);
    const uint64_t since = m_changes;
    const Piece piece = m_pieces.back();
    const int64_t end = piece.start + piece.length;
    int64_t new_end = 0;
    if (__builtin_add_overflow(end, count, &new_end)) {
        throw ManagedException("IOException", "The stream is too long.");
    }
    const std::vector<std::byte> zeros(static_cast<size_t>(std::min(count, kZeros)));
    const int64_t covered = std::min(new_end, std::max(end, piece.stream->length()));
    piece.stream->set_position(end);
    for (int64_t at = end; at < covered; at += kZeros) {
        piece.stream->write(std::span(zeros).first(static_cast<size_t>(std::min(kZeros, covered - at))));
    }
    if (covered < new_end) {
        piece.stream->set_position(new_end - 1);
        piece.stream->write(std::span(zeros).first(1));
    }
    require_unchanged(since);
    m_pieces.back().length = std::max(m_pieces.back().length, piece.length + count);
}

void JoinedStream::set_length(int64_t length) {
    require_live();
    if (length < 0) {
        throw_out_of_range("value", "The length " + std::to_string(length) + " is negative.");
    }
    if (length > total()) {
        append_zeros(length - total());
    } else {
        ++m_changes;
        const Place place = find(length);
        m_pieces[place.index].length = place.offset;
        for (size_t index = place.index + 1; index < m_pieces.size(); ++index) {
            m_pieces[index].length = 0;
        }
    }
    m_position = std::min(m_position, length);
}

size_t JoinedStream::read(std::span<std::byte> into) {
    require_live();
    const int64_t begin = m_position;
    if (into.empty() || begin >= total()) {
        return 0;
    }
    const uint64_t since = m_changes;
    const auto [index, offset] = find(begin);
    const Piece piece = m_pieces[index];
    piece.stream->set_position(piece.start + offset);
    const auto most = std::min(into.size(), static_cast<size_t>(piece.length - offset));
    const size_t count = piece.stream->read(into.first(most));
    require_unchanged(since);
    if (count == 0) {
        throw ManagedException("EndOfStreamException", "A stream that was joined has become shorter.");
    }
    m_position = begin + static_cast<int64_t>(count);
    return count;
}

void JoinedStream::write(std::span<const std::byte> from) {
    require_live();
    int64_t at = m_position;
    if (!from.empty() && at > total()) {
        append_zeros(at - total());
    }
    while (!from.empty()) {
        const uint64_t since = m_changes;
        const auto [index, offset] = find(at);
        const Piece piece = m_pieces[index];
        const bool last = index + 1 == m_pieces.size();
        const size_t room = last ? from.size() : static_cast<size_t>(piece.length - offset);
        const auto part = from.first(std::min(from.size(), room));
        piece.stream->set_position(piece.start + offset);
        piece.stream->write(part);
        require_unchanged(since);
        from = from.subspan(part.size());
        m_position = at += static_cast<int64_t>(part.size());
        m_pieces[index].length = std::max(m_pieces[index].length, offset + static_cast<int64_t>(part.size()));
    }
}

void JoinedStream::flush() {
    require_live();
    for (const Ref<ManagedStream>& stream : streams()) {
        if (stream->can_write()) {
            stream->flush();
        }
    }
}

void JoinedStream::references(ReferenceVisitor& visitor) {
    for (Piece& piece : m_pieces) {
        visitor(piece.stream);
    }
}

void JoinedStream::on_dispose() {
    for (const Piece& piece : std::exchange(m_pieces, {})) {
        if (piece.owned) {
            piece.stream->dispose();
        }
    }
}

}  // namespace zelmor::embed
