// The end of a TIFF file: behind the last of what its directories point to.
#include <algorithm>
#include <set>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/picture_end.h"

namespace zelmor::imagework {
namespace {

enum Tag : uint16_t {
    kWidth = 256,
    kHeight = 257,
    kBitsPerSample = 258,
    kStripOffsets = 273,
    kSamples = 277,
    kStripSizes = 279,
    kTileOffsets = 324,
    kTileSizes = 325,
    kSubDirectories = 330,
    kJpegOffset = 513,
    kJpegSize = 514,
    kExif = 34665,
    kGps = 34853,
    kInteroperability = 40965,
};

uint64_t size_of_type(uint16_t type) {
    static constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    return type < std::size(kSizes) ? kSizes[type] : 0;
}

// The numbers of an entry: where they are, and how many.
struct Numbers {
    uint64_t at = 0;
    uint64_t count = 0;
    uint64_t size = 0;
    uint64_t get(const ByteReader& in, uint64_t i) const {
        switch (size) {
            case 1:
                return in.u8(at + i);
            case 2:
                return in.u16(at + 2 * i);
            case 4:
                return in.u32(at + 4 * i);
            default:
                return in.u64(at + 8 * i);
        }
    }
};

// What one directory tells of the file.
struct Directory {
    Numbers strips, strip_sizes, tiles, tile_sizes, jpeg, jpeg_size, width, height, bits, samples;
    std::vector<Numbers> below;
    uint64_t next = 0;
    uint64_t end = 0;
    uint64_t entries = 0;
    uint64_t value_bytes = 0;
};

class TiffEnd final : public PictureEnd {
 public:
    explicit TiffEnd(const FileFacts& facts) : PictureEnd(facts) {}

    uint64_t needed(std::span<const uint8_t> data) override {
        if (data.size() < kHeader) {
            return kHeader;
        }
        const ByteReader in(data, data[0] == 'M');
        if (m_end == 0) {
            m_big = in.u16(2) == 43;
            m_end = kHeader;
            expect(m_big ? in.u64(8) : in.u32(4), true);
        }
        while (!m_expected.empty()) {
            if (m_steps > kMostSteps) {
                return kUnknown;
            }
            const auto [offset, is_page] = m_expected.back();
            Directory directory;
            const uint64_t more = read(in, offset, directory);
            if (more > data.size()) {
                return more;
            }
            m_expected.pop_back();
            take(in, directory, is_page);
        }
        return m_end;
    }

 private:
    struct Expected {
        uint64_t offset;
        bool is_page;
    };

    void expect(uint64_t offset, bool is_page) {
        constexpr size_t kMostDirectories = 1 << 16;
        if (offset != 0 && m_seen.size() < kMostDirectories && m_seen.insert(offset).second) {
            m_expected.push_back({offset, is_page});
        }
    }

    // Fills in the directory; answers how many bytes that takes.
    uint64_t read(const ByteReader& in, uint64_t offset, Directory& directory) const {
        constexpr uint64_t kFarAway = uint64_t{1} << 62;
        constexpr uint64_t kMostEntries = 1 << 16;
        if (offset > kFarAway) {
            return 0;
        }
        const uint64_t head = m_big ? 8 : 2;
        const uint64_t entry_size = m_big ? 20 : 12;
        const uint64_t room = m_big ? 8 : 4;
        if (!in.has(offset, head)) {
            return offset + head;
        }
        const uint64_t count = m_big ? in.u64(offset) : in.u16(offset);
        if (count > kMostEntries) {
            return 0;  // this is no directory
        }
        const uint64_t next_at = offset + head + count * entry_size;
        if (!in.has(next_at, room)) {
            return next_at + room;
        }
        directory.next = m_big ? in.u64(next_at) : in.u32(next_at);
        directory.end = next_at + room;
        directory.entries = count;
        uint64_t most = directory.end;
        for (uint64_t i = 0; i < count; i++) {
            const uint64_t entry = offset + head + i * entry_size;
            Numbers numbers;
            numbers.size = size_of_type(in.u16(entry + 2));
            numbers.count = m_big ? in.u64(entry + 4) : in.u32(entry + 4);
            numbers.at = entry + (m_big ? 12 : 8);
            uint64_t bytes = 0;
            if (numbers.size == 0 || __builtin_mul_overflow(numbers.size, numbers.count, &bytes)) {
                continue;
            }
            if (bytes > room) {
                numbers.at = m_big ? in.u64(numbers.at) : in.u32(numbers.at);
            }
            uint64_t end = 0;
            if (__builtin_add_overflow(numbers.at, bytes, &end) || end > kFarAway) {
                continue;
            }
            directory.end = std::max(directory.end, end);
            directory.value_bytes += bytes;
            if (Numbers* wanted = slot(directory, in.u16(entry))) {
                *wanted = numbers;
                most = std::max(most, end);
            }
        }
        return most;
    }

    static Numbers* slot(Directory& directory, uint16_t tag) {
        switch (tag) {
            case kWidth:
                return &directory.width;
            case kHeight:
                return &directory.height;
            case kBitsPerSample:
                return &directory.bits;
            case kSamples:
                return &directory.samples;
            case kStripOffsets:
                return &directory.strips;
            case kStripSizes:
                return &directory.strip_sizes;
            case kTileOffsets:
                return &directory.tiles;
            case kTileSizes:
                return &directory.tile_sizes;
            case kJpegOffset:
                return &directory.jpeg;
            case kJpegSize:
                return &directory.jpeg_size;
            case kSubDirectories:
            case kExif:
            case kGps:
            case kInteroperability:
                return &directory.below.emplace_back();
            default:
                return nullptr;
        }
    }

    void take(const ByteReader& in, const Directory& directory, bool is_page) {
        m_steps += directory.entries;
        add_values(directory.value_bytes);
        m_end = std::max(m_end, directory.end);
        take_pieces(in, directory.strips, directory.strip_sizes);
        take_pieces(in, directory.tiles, directory.tile_sizes);
        take_pieces(in, directory.jpeg, directory.jpeg_size);
        if (is_page) {
            const uint64_t samples = std::max<uint64_t>(1, first(in, directory.samples));
            const uint64_t bits = std::max<uint64_t>(1, first(in, directory.bits));
            add_picture(clamped(first(in, directory.width)), clamped(first(in, directory.height)),
                        clamped(samples) * clamped(bits));
        }
        for (const Numbers& offsets : directory.below) {
            m_steps += offsets.count;
            for (uint64_t i = 0; i < offsets.count; i++) {
                expect(offsets.get(in, i), false);
            }
        }
        if (is_page) {
            expect(directory.next, true);
        }
    }

    // Without sizes, a piece goes on to nobody knows where.
    void take_pieces(const ByteReader& in, const Numbers& offsets, const Numbers& sizes) {
        m_steps += offsets.count;
        for (uint64_t i = 0; i < offsets.count && m_end != kUnknown; i++) {
            uint64_t end = kUnknown;
            if (i < sizes.count && !__builtin_add_overflow(offsets.get(in, i), sizes.get(in, i), &end)) {
                m_end = std::max(m_end, end);
            } else {
                m_end = kUnknown;
            }
        }
    }
    static uint64_t first(const ByteReader& in, const Numbers& numbers) {
        return numbers.count == 0 ? 0 : numbers.get(in, 0);
    }
    static int64_t clamped(uint64_t number) { return static_cast<int64_t>(std::min<uint64_t>(number, 1 << 24)); }

    static constexpr uint64_t kHeader = 16;
    // Directories may lie over each other, so that a small file could have any number of them to walk.
    static constexpr uint64_t kMostSteps = 1 << 22;
    bool m_big = false;
    uint64_t m_end = 0;
    uint64_t m_steps = 0;
    std::vector<Expected> m_expected;
    std::set<uint64_t> m_seen;
};

}  // namespace

std::unique_ptr<PictureEnd> tiff_end(const FileFacts& facts) {
    return std::make_unique<TiffEnd>(facts);
}

}  // namespace zelmor::imagework
