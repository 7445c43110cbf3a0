// Decompressing planes; see psd_planes.h.
#include "runtime/native/formats/psd/psd_planes.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <string>
#include <utility>

#include "runtime/native/formats/psd/pack_bits.h"
#include "runtime/native/formats/psd/zip_stream.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

class RawPlane final : public PlaneReader {
 public:
    RawPlane(const SharedSource& source, uint64_t at, uint64_t end) : m_bytes(source), m_at(at), m_end(end) {}

    bool read(std::span<uint8_t> row) override {
        const uint64_t at = m_at;
        m_at += row.size();
        return m_at <= m_end && m_bytes.copy(at, row) == row.size();
    }

    std::string fault() const override { return "the file ends before its last row"; }

 private:
    SourceBytes m_bytes;
    uint64_t m_at;
    uint64_t m_end;
};

// The lengths of the coded rows of one plane, and where the first one begins.
struct CodedRows {
    uint64_t at = 0;
    std::vector<uint32_t> lengths;
    MemoryShare share;
};

class CodedPlane final : public PlaneReader {
 public:
    CodedPlane(const SharedSource& source, CodedRows rows, uint64_t end)
        : m_bytes(source), m_rows(std::move(rows)), m_end(end) {}

    bool read(std::span<uint8_t> row) override {
        assert(m_next < m_rows.lengths.size());
        const uint64_t at = m_rows.at;
        const uint64_t length = m_rows.lengths[m_next++];
        m_rows.at += length;
        // No row takes more than this, whatever the file says.
        const uint64_t most = 2 * static_cast<uint64_t>(row.size()) + 128;
        const uint64_t there = at < m_end ? m_end - at : 0;
        const auto coded = m_bytes.at(at, std::min({length, most, there}));
        return unpack_bits(coded, row) == row.size();
    }

    std::string fault() const override { return "row " + std::to_string(m_next - 1) + " of a channel ends too early"; }

 private:
    SourceBytes m_bytes;
    CodedRows m_rows;
    uint64_t m_end;
    size_t m_next = 0;
};

// Makes samples of their differences, in a row of the depth.
void add_differences(std::span<uint8_t> row, int depth, std::vector<uint8_t>& spare) {
    if (depth == 16) {
        unsigned sum = 0;
        for (size_t i = 0; i + 1 < row.size(); i += 2) {
            sum += static_cast<unsigned>(row[i] << 8 | row[i + 1]);
            row[i] = static_cast<uint8_t>(sum >> 8);
            row[i + 1] = static_cast<uint8_t>(sum);
        }
        return;
    }
    for (size_t i = 1; i < row.size(); i++) {
        row[i] = static_cast<uint8_t>(row[i] + row[i - 1]);
    }
    if (depth == 32) {
        // The first bytes of all samples stand first, then the second ones, and so on.
        spare.assign(row.begin(), row.end());
        const size_t width = row.size() / 4;
        for (size_t x = 0; x < width; x++) {
            for (size_t i = 0; i < 4; i++) {
                row[4 * x + i] = spare[i * width + x];
            }
        }
    }
}

class ZipPlane final : public PlaneReader {
 public:
    // `depth` of samples that are stored as differences; 0: they are stored as they are.
    ZipPlane(std::unique_ptr<ZipStream> zip, int depth) : m_zip(std::move(zip)), m_depth(depth) {}

    bool read(std::span<uint8_t> row) override {
        if (!m_zip->read(row)) {
            return false;
        }
        if (m_depth != 0) {
            add_differences(row, m_depth, m_spare);
        }
        return true;
    }

    std::string fault() const override { return m_zip->fault(); }

 private:
    std::unique_ptr<ZipStream> m_zip;
    int m_depth;
    std::vector<uint8_t> m_spare;
};

// A zlib stream goes over all planes. It is decompressed once to find where the planes begin, when the first row of any
// is asked for, and from there for each of them by itself.
class ZippedPlanes {
 public:
    ZippedPlanes(SharedSource source, const PsdRange& range, uint64_t plane_size, std::span<const int> planes)
        : m_source(std::move(source)), m_range(range), m_size(plane_size), m_planes(planes.begin(), planes.end()) {}

    // Null if the compressed data end before the plane.
    ZipStream* stream(size_t which) {
        if (m_streams.empty()) {
            find();
        }
        return m_streams[which].get();
    }

 private:
    void find() {
        m_streams.resize(m_planes.size());
        ZipStream zip(m_source, m_range);
        int at = 0;
        for (size_t i = 0; i < m_planes.size(); i++) {
            if (!zip.skip(static_cast<uint64_t>(m_planes[i] - at) * m_size)) {
                return;  // the planes before the damage are there
            }
            at = m_planes[i];
            m_streams[i] = zip.copy();
        }
    }

    SharedSource m_source;
    PsdRange m_range;
    uint64_t m_size;
    std::vector<int> m_planes;
    std::vector<std::unique_ptr<ZipStream>> m_streams;
};

class SharedZipPlane final : public PlaneReader {
 public:
    SharedZipPlane(std::shared_ptr<ZippedPlanes> planes, size_t which, int depth)
        : m_planes(std::move(planes)), m_which(which), m_depth(depth) {}

    bool read(std::span<uint8_t> row) override {
        ZipStream* zip = m_planes->stream(m_which);
        if (zip == nullptr || !zip->read(row)) {
            return false;
        }
        if (m_depth != 0) {
            add_differences(row, m_depth, m_spare);
        }
        return true;
    }

    std::string fault() const override {
        const ZipStream* zip = m_planes->stream(m_which);
        return zip == nullptr ? "the compressed data end before the channel" : zip->fault();
    }

 private:
    std::shared_ptr<ZippedPlanes> m_planes;
    size_t m_which;
    int m_depth;
    std::vector<uint8_t> m_spare;
};

// The lengths of rows of some of `count` planes, from the table at the start of the range.
std::vector<CodedRows> read_lengths(const SharedSource& source, const PsdFile& file, const PsdRange& range, int count,
                                    std::span<const int> planes, const SharedBudget& budget) {
    const auto height = static_cast<uint64_t>(file.height);
    const uint64_t digits = file.large ? 4 : 2;
    const uint64_t table = static_cast<uint64_t>(count) * height * digits;
    if (table > range.size) {
        damaged("the file ends in the table of its rows");
    }
    SourceBytes bytes(source);
    uint64_t at = range.at + table;
    uint64_t entry = range.at;
    std::vector<CodedRows> result(planes.size());
    const int last = planes.empty() ? -1 : planes.back();
    size_t next = 0;
    for (int plane = 0; plane <= last; plane++) {
        CodedRows* wanted = planes[next] == plane ? &result[next] : nullptr;
        if (wanted != nullptr) {
            wanted->share = MemoryShare(budget, height * sizeof(uint32_t));
            wanted->lengths.reserve(static_cast<size_t>(height));
            wanted->at = at;
            next++;
        }
        constexpr uint64_t kStep = 1024;
        for (uint64_t y = 0; y < height; y += kStep) {
            const uint64_t rows = std::min(kStep, height - y);
            const auto piece = bytes.at(entry, rows * digits);
            if (piece.size() != rows * digits) {
                damaged("the file ends in the table of its rows");
            }
            const ByteReader in(piece, true);
            for (uint64_t i = 0; i < rows; i++) {
                const uint32_t length = digits == 4 ? in.u32(4 * i) : in.u16(2 * i);
                at += length;
                if (wanted != nullptr) {
                    wanted->lengths.push_back(length);
                }
            }
            entry += rows * digits;
        }
    }
    return result;
}

}  // namespace

std::vector<std::unique_ptr<PlaneReader>> open_psd_planes(const SharedSource& source, const PsdFile& file,
                                                          std::span<const int> planes, const SharedBudget& budget) {
    assert(!planes.empty() && planes.back() < file.channels && std::is_sorted(planes.begin(), planes.end()));
    const PsdRange data{file.image.at + 2, file.image.size - 2};
    const uint64_t plane_size = file.row_bytes() * static_cast<uint64_t>(file.height);
    std::vector<std::unique_ptr<PlaneReader>> readers;
    switch (file.compression) {
        case PsdCompression::kRaw:
            for (const int plane : planes) {
                const uint64_t at = data.at + static_cast<uint64_t>(plane) * plane_size;
                readers.push_back(std::make_unique<RawPlane>(source, at, data.end()));
            }
            break;
        case PsdCompression::kPackBits:
            for (CodedRows& rows : read_lengths(source, file, data, file.channels, planes, budget)) {
                readers.push_back(std::make_unique<CodedPlane>(source, std::move(rows), data.end()));
            }
            break;
        case PsdCompression::kZip:
        case PsdCompression::kZipWithPrediction: {
            const int depth = file.compression == PsdCompression::kZip ? 0 : file.depth;
            const auto shared = std::make_shared<ZippedPlanes>(source, data, plane_size, planes);
            for (size_t i = 0; i < planes.size(); i++) {
                readers.push_back(std::make_unique<SharedZipPlane>(shared, i, depth));
            }
            break;
        }
    }
    return readers;
}

std::vector<std::unique_ptr<PlaneReader>> open_psd_layer(const SharedSource& source, const PsdFile& file,
                                                         const SharedBudget& budget) {
    std::vector<std::unique_ptr<PlaneReader>> readers;
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    for (const PsdLayerPlane& plane : file.layer) {
        const uint16_t compression = ByteReader(bytes, true).u16(plane.data.at);
        const PsdRange data{plane.data.at + 2, plane.data.size - 2};
        switch (static_cast<PsdCompression>(compression)) {
            case PsdCompression::kRaw:
                readers.push_back(std::make_unique<RawPlane>(source, data.at, data.end()));
                break;
            case PsdCompression::kPackBits: {
                constexpr int kFirst[] = {0};
                auto rows = read_lengths(source, file, data, 1, kFirst, budget);
                readers.push_back(std::make_unique<CodedPlane>(source, std::move(rows.front()), data.end()));
                break;
            }
            case PsdCompression::kZip:
            case PsdCompression::kZipWithPrediction: {
                const int depth = compression == static_cast<int>(PsdCompression::kZip) ? 0 : file.depth;
                readers.push_back(std::make_unique<ZipPlane>(std::make_unique<ZipStream>(source, data), depth));
                break;
            }
            default:
                damaged("a channel of the layer has the compression " + std::to_string(compression));
        }
    }
    return readers;
}

}  // namespace zelmor::imagework
