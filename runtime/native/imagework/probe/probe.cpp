// The choice among all formats, by the first bytes of a file; see probe.h.
#include "runtime/native/imagework/probe/probe.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

const FormatRoom* room_of_file(const ByteReader& file) {
    for (const FormatRoom* room : format_rooms()) {
        if (room->begins(file)) {
            return room;
        }
    }
    return nullptr;
}

FileFacts facts_of_file(const ByteReader& file) {
    FileFacts facts;
    const FormatRoom* room = room_of_file(file);
    if (room == nullptr) {
        return facts;
    }
    facts.format = room->format;
    if (room->probe != nullptr) {
        room->probe(file, facts);
    } else {
        facts.obstacle = std::string("this runtime does not read ") + room->name + " files";
        facts.variant = room->variant != nullptr ? room->variant(file) : Variant::kUsual;
    }
    return facts;
}

// "BMP, GIF, JPEG": the formats that are read, by their names.
std::string names_of_readable_formats() {
    std::vector<std::string_view> names;
    for (const FormatRoom* room : format_rooms()) {
        if (room->probe != nullptr) {
            names.emplace_back(room->name);
        }
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string_view name : names) {
        text.append(text.empty() ? "" : ", ").append(name);
    }
    return text;
}

}  // namespace

Format sniff(std::span<const uint8_t> data) {
    const FormatRoom* room = room_of_file(ByteReader(data));
    return room != nullptr ? room->format : Format::kUnknown;
}

namespace {

// A file of which no more is looked at than a header may take: a chain of segments or chunks can go on for ever.
class HeaderBytes final : public ByteSource {
 public:
    explicit HeaderBytes(ByteSource& file) : m_file(file) {}

    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override {
        if (length == 0 || offset > limits::kOffset) {  // where no file goes on
            return m_file.at(offset, length);
        }
        constexpr uint64_t kBlock = 256;
        const uint64_t first = offset / kBlock;
        const uint64_t last = (offset + std::min(length, limits::kHeaderBytes)) / kBlock;
        if (first != m_last_block || last != first) {
            m_looked_at += (last - first + 1) * kBlock;
            m_last_block = last;
        }
        if (is_spent()) {
            return {};
        }
        return m_file.at(offset, length);
    }
    bool has(uint64_t offset, uint64_t length) override { return !is_spent() && m_file.has(offset, length); }

    bool is_spent() const { return m_looked_at > limits::kHeaderBytes; }

 private:
    ByteSource& m_file;
    uint64_t m_last_block = UINT64_MAX;
    uint64_t m_looked_at = 0;
};

class BytesInMemory final : public ByteSource {
 public:
    explicit BytesInMemory(std::span<const uint8_t> data) : m_data(data) {}
    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override {
        return ByteReader(m_data).piece(offset, length);
    }

 private:
    std::span<const uint8_t> m_data;
};

}  // namespace

FileFacts probe(std::span<const uint8_t> data) {
    BytesInMemory bytes(data);
    return probe(bytes);
}

FileFacts probe(ByteSource& file) {
    HeaderBytes header(file);
    FileFacts facts = facts_of_file(ByteReader(header));
    facts.header_goes_on = header.is_spent();
    return facts;
}

void require_readable_format(const FileFacts& facts) {
    if (!facts.obstacle.empty()) {
        throw PictureError(Failure::kUnsupported, facts.obstacle);
    }
}

void require_decodable(const FileFacts& facts, const DecodeOptions& options) {
    if (facts.format == Format::kUnknown) {
        throw PictureError(Failure::kDamaged, "the data is of none of the formats " + names_of_readable_formats());
    }
    require_readable_format(facts);
    if (!facts.readable && facts.header_goes_on) {
        throw PictureError(Failure::kDamaged, std::string("the header of the ") + format_name(facts.format) +
                                                  " data goes on after " + std::to_string(limits::kHeaderBytes) +
                                                  " bytes of it");
    }
    if (!facts.readable && options.recovery == Recovery::kNone) {
        throw PictureError(Failure::kDamaged,
                           std::string("the ") + format_name(facts.format) + " data has no complete header");
    }
    if (facts.readable && std::max(facts.width, facts.height) > limits::kSide) {
        throw PictureError(Failure::kTooLarge, "a picture of " + std::to_string(facts.width) + " by " +
                                                   std::to_string(facts.height) +
                                                   " pixels is larger than the limit of " +
                                                   std::to_string(limits::kSide) + " pixels to a side");
    }
}

}  // namespace zelmor::imagework
