// Walks over the structure of picture files; see file_parts.h.
#include "tests/fuzz/file_parts.h"

#include <algorithm>
#include <array>
#include <set>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::fuzz {
namespace {

using imagework::ByteReader;
using imagework::Format;
using Bytes = std::span<const uint8_t>;

constexpr size_t kMostParts = 4096;

// Adds a part and gives the place behind it; the end of the file where the part goes beyond that.
size_t add(std::vector<Part>& parts, Bytes file, size_t at, uint64_t length) {
    const size_t fits = std::min<uint64_t>(length, file.size() - at);
    parts.push_back({at, fits});
    return at + fits;
}

void walk_bmp(Bytes file, std::vector<Part>& parts) {
    const ByteReader reader(file);
    const size_t pixels = std::clamp<size_t>(reader.u32(10), 14, file.size());
    const size_t header = std::clamp<size_t>(14 + size_t{reader.u32(14)}, 14, pixels);
    add(parts, file, 0, 14);
    add(parts, file, 14, header - 14);
    add(parts, file, header, pixels - header);
    add(parts, file, pixels, file.size() - pixels);
}

void walk_png(Bytes file, std::vector<Part>& parts) {
    const ByteReader reader(file, true);
    for (size_t at = 8; at + 12 <= file.size() && parts.size() < kMostParts;) {
        at = add(parts, file, at, uint64_t{reader.u32(at)} + 12);
    }
}

void walk_riff(Bytes file, std::vector<Part>& parts, size_t at, int depth) {
    const ByteReader reader(file);
    while (at + 8 <= file.size() && parts.size() < kMostParts) {
        const uint64_t length = reader.u32(at + 4);
        if (depth == 0 && reader.starts_with(at, "ANMF") && length >= 16) {
            walk_riff(file.first(std::min<uint64_t>(file.size(), at + 8 + length)), parts, at + 24, 1);
        }
        at = add(parts, file, at, 8 + length + length % 2);
    }
}

void walk_jpeg(Bytes file, std::vector<Part>& parts) {
    const ByteReader reader(file, true);
    for (size_t at = 2; at + 2 <= file.size() && parts.size() < kMostParts;) {
        const uint8_t marker = reader.u8(at + 1);
        const bool alone = reader.u8(at) != 0xFF || marker == 0 || (marker >= 0xD0 && marker <= 0xD9);
        at = add(parts, file, at, alone ? 2 : 2 + uint64_t{reader.u16(at + 2)});
        const size_t begin = at;  // of entropy-coded data up to the next marker
        while (at + 1 < file.size() && !(file[at] == 0xFF && file[at + 1] != 0)) {
            ++at;
        }
        if (at > begin) {
            parts.push_back({begin, at - begin});
        }
    }
}

void walk_gif(Bytes file, std::vector<Part>& parts) {
    const ByteReader reader(file);
    const auto table = [&](uint8_t flags) { return (flags & 0x80) != 0 ? size_t{3} << ((flags & 7) + 1) : 0; };
    for (size_t at = 13 + table(reader.u8(10)); at < file.size() && parts.size() < kMostParts;) {
        const size_t begin = at;
        const uint8_t kind = reader.u8(at);
        at += kind == 0x2C ? 11 + table(reader.u8(at + 9)) : kind == 0x21 ? 2 : 1;
        while ((kind == 0x2C || kind == 0x21) && at < file.size() && reader.u8(at) != 0) {
            at += size_t{1} + reader.u8(at);
        }
        at = add(parts, file, begin, at - begin + (kind == 0x2C || kind == 0x21 ? 1 : 0));
    }
}

void walk_tiff(Bytes file, std::vector<Part>& parts) {
    const ByteReader reader(file, file[0] == 'M');
    const bool big = reader.u16(2) == 43;
    const size_t entry = big ? 20 : 12;
    std::set<uint64_t> seen;
    std::vector<uint64_t> to_do{big ? reader.u64(8) : reader.u32(4)};
    while (!to_do.empty() && parts.size() < kMostParts) {
        const uint64_t directory = to_do.back();
        to_do.pop_back();
        if (directory < 8 || directory >= file.size() || !seen.insert(directory).second) {
            continue;
        }
        const uint64_t count = big ? reader.u64(directory) : reader.u16(directory);
        uint64_t at = directory + (big ? 8 : 2);
        for (uint64_t i = 0; i < count && at + entry <= file.size() && parts.size() < kMostParts; ++i, at += entry) {
            parts.push_back({static_cast<size_t>(at), entry});
            const uint16_t tag = reader.u16(at);
            if (tag == 330 || tag == 34665 || tag == 34853) {  // directories below
                to_do.push_back(big ? reader.u64(at + 12) : reader.u32(at + 8));
            }
        }
        to_do.push_back(big ? reader.u64(at) : reader.u32(at));
    }
}

std::array<uint32_t, 256> crc_table() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? 0xEDB88320 ^ (value >> 1) : value >> 1;
        }
        table[i] = value;
    }
    return table;
}

void put(std::vector<uint8_t>& file, size_t at, uint32_t number, bool big_endian) {
    for (size_t i = 0; i < 4; ++i) {
        file[at + (big_endian ? 3 - i : i)] = static_cast<uint8_t>(number >> (8 * i));
    }
}

}  // namespace

std::vector<Part> parts_of(Bytes file) {
    std::vector<Part> parts;
    if (file.size() < 16) {
        return parts;
    }
    switch (imagework::sniff(file)) {
        case Format::kBmp:
            walk_bmp(file, parts);
            break;
        case Format::kGif:
            walk_gif(file, parts);
            break;
        case Format::kJpeg:
            walk_jpeg(file, parts);
            break;
        case Format::kPng:
            walk_png(file, parts);
            break;
        case Format::kTiff:
            walk_tiff(file, parts);
            break;
        case Format::kWebp:
            walk_riff(file, parts, 12, 0);
            break;
        default:
            break;
    }
    return parts;
}

void mend_checks(std::vector<uint8_t>& file) {
    static const std::array<uint32_t, 256> table = crc_table();
    const Format format = file.size() < 16 ? Format::kUnknown : imagework::sniff(file);
    if (format == Format::kWebp) {
        put(file, 4, static_cast<uint32_t>(file.size() - 8), false);
    }
    if (format != Format::kPng) {
        return;
    }
    for (const Part& part : parts_of(file)) {
        const size_t length = ByteReader(file, true).u32(part.at);
        if (part.length != length + 12) {
            continue;
        }
        uint32_t sum = ~uint32_t{0};
        for (size_t i = part.at + 4; i < part.at + 8 + length; ++i) {
            sum = table[(sum ^ file[i]) & 0xFF] ^ (sum >> 8);
        }
        put(file, part.at + 8 + length, ~sum, true);
    }
}

}  // namespace zelmor::fuzz
