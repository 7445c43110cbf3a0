// Looking at a picture's header and reading it to its end; see picture_source.h.
#include "runtime/native/behaviors/images/picture_source.h"

#include <algorithm>
#include <string>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed {

using imagework::Failure;
using imagework::FileFacts;
using imagework::PictureError;
using imagework::limits::kHeaderBytes;
using imagework::limits::kOffset;
using imagework::limits::kReservedBytes;
using imagework::limits::kSkippedBytes;

namespace {

constexpr uint64_t kBlock = 256;
// The size of a read from a stream that can seek back over surplus bytes.
constexpr uint64_t kReadAhead = 64 * 1024;

[[noreturn]] void throw_endless(const FileFacts& facts, uint64_t limit) {
    throw PictureError(Failure::kDamaged, std::string("the ") + imagework::format_name(facts.format) +
                                              " data goes on after " + std::to_string(limit) +
                                              " bytes, more than a picture of " + std::to_string(facts.width) + " by " +
                                              std::to_string(facts.height) + " pixels can need");
}

}  // namespace

PictureSource::PictureSource(Ref<ManagedStream> stream)
    : m_stream(std::move(stream)), m_seeks(m_stream->can_seek()), m_begin(m_seeks ? m_stream->position() : 0) {}

void PictureSource::go_to(uint64_t offset) {
    if (offset == m_next) {
        return;
    }
    m_stream->set_position(m_begin + static_cast<int64_t>(offset));
    m_next = offset;
}

void PictureSource::go_back() {
    if (!m_seeks) {
        return;
    }
    m_stream->set_position(m_begin);
    m_next = 0;
}

bool PictureSource::append(std::vector<uint8_t>& to, uint64_t count) {
    const size_t had = to.size();
    if (had + count > to.capacity()) {
        to.reserve(std::max(had + count, had + had / 2));
    }
    to.resize(had + count);
    const size_t came = m_stream->read(std::as_writable_bytes(std::span(to)).subspan(had));
    to.resize(had + came);
    m_next += came;
    return came > 0;
}

std::span<const uint8_t> PictureSource::block(uint64_t number) {
    const uint64_t offset = number * kBlock;
    if (!m_seeks) {
        while (offset < kSkippedBytes && m_read.size() < offset + kBlock) {
            if (!append(m_read, offset + kBlock - m_read.size())) {
                break;
            }
        }
        if (m_read.size() <= offset) {
            return {};
        }
        return std::span(m_read).subspan(offset, std::min<uint64_t>(kBlock, m_read.size() - offset));
    }
    if (const auto known = m_blocks.find(number); known != m_blocks.end()) {
        return known->second;
    }
    go_to(offset);
    std::vector<uint8_t>& found = m_blocks[number];
    while (found.size() < kBlock && append(found, kBlock - found.size())) {
    }
    return found;
}

std::span<const uint8_t> PictureSource::at(uint64_t offset, uint64_t length) {
    m_piece.clear();
    uint64_t end = 0;
    if (length > kHeaderBytes || __builtin_add_overflow(offset, length, &end) || end > kOffset) {
        return {};
    }
    while (offset < end && m_looked_at <= kHeaderBytes) {
        if (offset / kBlock != m_last_block) {
            m_looked_at += kBlock;
        }
        m_last_block = offset / kBlock;
        const auto found = block(m_last_block);
        const uint64_t from = offset % kBlock;
        if (found.size() <= from) {
            break;
        }
        const auto part = found.subspan(from, std::min<uint64_t>(end - offset, found.size() - from));
        m_piece.insert(m_piece.end(), part.begin(), part.end());
        offset += part.size();
        if (found.size() < kBlock) {
            break;
        }
    }
    return m_piece;
}

std::vector<uint8_t> PictureSource::rest(const FileFacts& header, const imagework::DecodeOptions& options) {
    if (m_seeks) {
        go_to(0);
    }
    m_blocks.clear();
    std::vector<uint8_t> data = std::move(m_read);
    const auto end = imagework::picture_end(header);
    uint64_t needed = end->needed(data);
    while (needed > data.size()) {
        const uint64_t limit = end->limit();
        if (data.size() >= limit) {
            const bool may_be_whole = imagework::room_of(header.format).may_point_behind_end;
            if (may_be_whole || options.recovery != imagework::Recovery::kNone) {
                return data;
            }
            throw_endless(header, limit);
        }
        // A length in a file is only a claim: memory is put by for it, which costs nothing until it is written to, but
        // what is read at once grows with what has come. Where lengths are small the memory still grows by a part of
        // itself, or every few bytes would move all that came before.
        const uint64_t room = std::min(needed, std::max<uint64_t>(kReservedBytes, 2 * data.size()));
        if (room > data.capacity()) {
            data.reserve(std::min<uint64_t>(limit, std::max<uint64_t>(room, data.capacity() + data.capacity() / 2)));
        }
        const uint64_t most = std::min(needed - data.size(), std::max<uint64_t>(kReadAhead, data.size()));
        const uint64_t wanted = m_seeks ? std::max(kReadAhead, most) : most;
        if (!append(data, std::min(wanted, limit - data.size()))) {
            return data;
        }
        needed = end->needed(data);
    }
    data.resize(needed);
    if (m_seeks) {
        go_to(needed);
    }
    return data;
}

FileFacts facts_ahead(const Ref<ManagedStream>& stream) {
    if (!stream->can_seek()) {
        throw ManagedException("NotSupportedException",
                               "A stream that cannot seek cannot be looked at without using it up.");
    }
    PictureSource source(stream);
    FileFacts facts;
    try {
        facts = source.facts();
    } catch (const ManagedException& failure) {
        try {
            source.go_back();
        } catch (const ManagedException&) {
            throw failure;  // it came first, and says more than that the way back is barred too
        }
        throw;
    }
    source.go_back();
    return facts;
}

}  // namespace zelmor::embed
