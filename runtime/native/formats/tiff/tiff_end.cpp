// The end of a TIFF file: behind the last bytes that its directories point to.
#include "runtime/native/formats/tiff/tiff_end.h"

#include <algorithm>
#include <set>
#include <vector>

#include "runtime/native/formats/tiff/tiff_structure.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

// The numbers of an entry: where they are, how many, and of how many bytes each.
struct Numbers {
    uint64_t at = 0;
    uint64_t count = 0;
    uint64_t size = 0;
    uint64_t get(const ByteReader& in, uint64_t i) const { return read_tiff_number(in, at + size * i, size); }
};

// The entries of a directory that bound the file.
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
            m_form = tiff_form(in);
            m_end = kHeader;
            expect(m_form.read_word(in, m_form.link_at()), true);
        }
        while (!m_expected.empty()) {
            if (m_steps > limits::kAllEntries) {
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
        if (offset != 0 && m_seen.size() < limits::kDirectories && m_seen.insert(offset).second) {
            m_expected.push_back({offset, is_page});
        }
    }

    // Fills in the directory; answers how many bytes that takes.
    uint64_t read(const ByteReader& in, uint64_t offset, Directory& directory) const {
        constexpr uint64_t kFarAway = uint64_t{1} << 62;
        if (offset > kFarAway) {
            return 0;
        }
        const uint64_t room = m_form.word();
        if (!in.has(offset, m_form.directory_head())) {
            return offset + m_form.directory_head();
        }
        const uint64_t count = m_form.entries(in, offset);
        if (count > limits::kEntries) {
            return 0;  // this is no directory
        }
        const uint64_t next_at = m_form.entry_at(offset, count);
        if (!in.has(next_at, room)) {
            return next_at + room;
        }
        directory.next = m_form.read_word(in, next_at);
        directory.end = next_at + room;
        directory.entries = count;
        uint64_t most = directory.end;
        for (uint64_t i = 0; i < count; i++) {
            const uint64_t entry = m_form.entry_at(offset, i);
            Numbers numbers;
            numbers.size = tiff_type_size(in.u16(entry + 2));
            numbers.count = m_form.values(in, entry);
            numbers.at = m_form.value_at(entry);
            uint64_t bytes = 0;
            if (numbers.size == 0 || __builtin_mul_overflow(numbers.size, numbers.count, &bytes)) {
                continue;
            }
            if (bytes > room) {
                numbers.at = m_form.read_word(in, numbers.at);
            }
            uint64_t end = 0;
            if (__builtin_add_overflow(numbers.at, bytes, &end) || end > kFarAway) {
                continue;
            }
            directory.end = std::max(directory.end, end);
            directory.value_bytes += bytes;
            if (Numbers* wanted = slot(directory, in.u16(entry)); wanted != nullptr) {
                *wanted = numbers;
                most = std::max(most, end);
            }
        }
        return most;
    }

    // Where the numbers of a tag are kept; null for a tag that says nothing about the end.
    static Numbers* slot(Directory& directory, uint16_t tag) {
        struct Slot {
            TiffTag tag;
            Numbers Directory::*numbers;
        };
        static constexpr Slot kSlots[] = {
            {kTiffWidth, &Directory::width},         {kTiffHeight, &Directory::height},
            {kTiffBitsPerSample, &Directory::bits},  {kTiffSamplesPerPixel, &Directory::samples},
            {kTiffStripOffsets, &Directory::strips}, {kTiffStripSizes, &Directory::strip_sizes},
            {kTiffTileOffsets, &Directory::tiles},   {kTiffTileSizes, &Directory::tile_sizes},
            {kTiffJpegOffset, &Directory::jpeg},     {kTiffJpegSize, &Directory::jpeg_size},
        };
        for (const Slot& known : kSlots) {
            if (known.tag == tag) {
                return &(directory.*known.numbers);
            }
        }
        const bool points_to_directories = tag == kTiffSubDirectories || tag == kTiffExifDirectory ||
                                           tag == kTiffGpsDirectory || tag == kTiffInteroperabilityDirectory;
        return points_to_directories ? &directory.below.emplace_back() : nullptr;
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

    // The end of a piece without a size is unknown.
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
    static int64_t clamped(uint64_t number) { return static_cast<int64_t>(std::min<uint64_t>(number, limits::kSide)); }

    static constexpr uint64_t kHeader = 16;
    TiffForm m_form{};
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
