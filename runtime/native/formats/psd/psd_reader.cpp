// Reading PSD; see psd_codec.h.
#include <algorithm>
#include <cassert>
#include <numeric>

#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/formats/psd/psd_facts.h"
#include "runtime/native/formats/psd/psd_planes.h"
#include "runtime/native/formats/psd/psd_samples.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

using Planes = std::vector<std::unique_ptr<PlaneReader>>;

Planes open_planes(const SharedSource& source, const PsdFile& file, const SharedBudget& budget) {
    if (!file.layer.empty()) {
        return open_psd_layer(source, file, budget);
    }
    std::vector<int> numbers(static_cast<size_t>(file.planes) + (file.form.alpha ? 1 : 0));
    std::iota(numbers.begin(), numbers.end(), 0);
    return open_psd_planes(source, file, numbers, budget);
}

// Whether a pixel has a color beyond those that are in use. All pixels are read for that.
bool uses_more_than(size_t colors, const SharedSource& source, const PsdFile& file, const SharedBudget& budget) {
    const Planes planes = open_planes(source, file, budget);
    std::vector<uint8_t> row(file.row_bytes());
    for (int32_t y = 0; y < file.height; y++) {
        if (!planes.front()->read(row)) {
            return true;  // not known: all colors are kept, and the damage is reported when the rows are read
        }
        if (*std::max_element(row.begin(), row.end()) >= colors) {
            return true;
        }
    }
    return false;
}

class PsdReader final : public RowReader {
 public:
    PsdReader(const SharedSource& source, const PsdFile& file, const DecodeOptions& options)
        : m_file(file), m_goes_on(options.recovery == Recovery::kMaximal) {
        const uint64_t row = m_file.form.pixel_size() * static_cast<uint64_t>(m_file.width);
        m_share = MemoryShare(options.memory, row);
        m_planes = open_planes(source, m_file, options.memory);
        SourceBytes bytes(source, SourceBytes::kHeaderWindow);
        m_header.width = m_file.width;
        m_header.height = m_file.height;
        m_header.form = m_file.form;
        m_header.resolution = psd_resolution(m_file, bytes);
        if (m_file.form.color == ColorModel::kIndexed) {
            m_header.palette = psd_palette(m_file, bytes);
            const size_t used = psd_used_colors(m_file, bytes);
            if (used < m_header.palette.size() && !uses_more_than(used, source, m_file, options.memory)) {
                m_header.palette.resize(used);
            }
        }
        if (const PsdResource* found = m_file.find(kPsdProfile);
            found != nullptr && found->data.size > 0 && found->data.size <= limits::kProfileBytes) {
            std::vector<uint8_t> profile(static_cast<size_t>(found->data.size));
            if (bytes.copy(found->data.at, profile) == profile.size()) {
                m_header.profile = std::make_shared<const std::vector<uint8_t>>(std::move(profile));
            }
        }
        m_row.resize(m_file.row_bytes());
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++, m_next++) {
            read_row(rows.data() + row_size * static_cast<size_t>(i));
        }
    }

    std::vector<Rect> lost() const override { return m_lost; }

 private:
    void read_row(uint8_t* to) {
        size_t read = 0;
        for (size_t i = 0; i < m_planes.size(); i++) {
            if (m_planes[i]->read(m_row)) {
                put_band(m_header.form, static_cast<int>(i), m_row, m_header.width, to);
                read++;
            } else if (m_goes_on) {
                clear_band(m_header.form, static_cast<int>(i), m_header.width, to);
            } else {
                throw PictureError(Failure::kDamaged, m_planes[i]->fault());
            }
        }
        for (auto band = static_cast<int>(m_planes.size()); band < m_header.form.bands(); band++) {
            clear_band(m_header.form, band, m_header.width, to);  // inks that a multichannel file does not have
        }
        if (m_file.on_white) {
            unmix_white(m_header.form, m_header.width, to);
        }
        if (read > 0) {
            return;
        }
        if (!m_lost.empty() && m_lost.back().y + m_lost.back().height == m_next) {
            m_lost.back().height++;
        } else {
            m_lost.push_back({0, m_next, m_header.width, 1});
        }
    }

    const PsdFile m_file;
    const bool m_goes_on;
    MemoryShare m_share;
    Planes m_planes;
    RowsHeader m_header;
    std::vector<uint8_t> m_row;
    int32_t m_next = 0;
    std::vector<Rect> m_lost;
};

class PsdFrames final : public FrameSource {
 public:
    PsdFrames(const SharedSource& source, const DecodeOptions& options) : m_source(source), m_options(options) {
        SourceBytes bytes(source, SourceBytes::kHeaderWindow);
        m_file = read_psd_structure(bytes, bytes.size());
        m_facts = psd_facts(m_file, bytes);
    }

    size_t count() const override { return 1; }

    FrameHeader header([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        return {m_facts, 0, {0, 0, m_file.width, m_file.height}};
    }

    std::unique_ptr<RowReader> open([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        return std::make_unique<PsdReader>(m_source, m_file, m_options);
    }

    const SharedSource& source() const { return m_source; }
    bool recovers() const { return m_options.recovery != Recovery::kNone; }

 private:
    SharedSource m_source;
    DecodeOptions m_options;
    PsdFile m_file;
    FileFacts m_facts;
};

}  // namespace

SharedFrames open_psd(const SharedSource& source, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_shared<PsdFrames>(source, options);
}

SharedSource psd_file_of(const FrameOrigin& origin) {
    const auto* frames = dynamic_cast<const PsdFrames*>(origin.source.get());
    return frames != nullptr && !frames->recovers() ? frames->source() : nullptr;
}

bool is_as_in_psd_file(const FrameOrigin& origin, const RowsHeader& header) {
    if (psd_file_of(origin) == nullptr) {
        return false;
    }
    // Colors that were converted while the file was loaded have another profile.
    const RowsHeader there = origin.source->open(origin.index)->header();
    const auto bytes = [](const ProfileBytes& profile) {
        return profile != nullptr ? std::span<const uint8_t>(*profile) : std::span<const uint8_t>();
    };
    const auto before = bytes(there.profile);
    const auto now = bytes(header.profile);
    return header.form == there.form && header.palette == there.palette &&
           std::equal(before.begin(), before.end(), now.begin(), now.end());
}

}  // namespace zelmor::imagework
