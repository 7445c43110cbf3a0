// Writing PSD; see psd_codec.h.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>

#include "runtime/native/formats/psd/plane_coder.h"
#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/formats/psd/psd_planes.h"
#include "runtime/native/formats/psd/psd_resources.h"
#include "runtime/native/formats/psd/psd_samples.h"
#include "runtime/native/formats/psd/psd_thumbnail.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

using Coders = std::vector<std::unique_ptr<PlaneCoder>>;

[[noreturn]] void refuse(const std::string& text) {
    throw PictureError(Failure::kEncoding, text);
}

PsdBytes resolution_data(const Resolution& resolution) {
    const auto fixed = [](double dots) {
        return static_cast<uint64_t>(std::llround(std::clamp(dots, 0.0, 65535.0) * 65536.0));
    };
    PsdBytes data;
    for (const double dots : {resolution.horizontal, resolution.vertical}) {
        put_number(data, fixed(dots), 4);
        put_number(data, 1, 2);  // shown in dots per inch
        put_number(data, 1, 2);  // sides shown in inches
    }
    return data;
}

class PsdWriter final : public RowWriter {
 public:
    PsdWriter(const RowsHeader& header, const PsdEncoding& encoding, PsdKept kept, PsdBytes& out, StandardColors colors)
        : m_header(header), m_encoding(encoding), m_kept(std::move(kept)), m_out(out) {
        choose_mode();
        check_size();
        if (m_kept.source != nullptr) {
            SourceBytes bytes(m_kept.source, SourceBytes::kHeaderWindow);
            m_file = read_psd_structure(bytes, bytes.size());
        }
        m_keeps_layers = m_kept.source != nullptr && m_kept.unchanged && m_file.large == m_encoding.large &&
                         m_file.mode == m_mode && m_file.depth == m_header.form.bits &&
                         m_file.form.alpha == m_header.form.alpha && m_file.planes == m_planes &&
                         m_file.width == m_header.width && m_file.height == m_header.height;
        if (m_mode == PsdColorMode::kDuotone && (m_kept.source == nullptr || m_file.mode != PsdColorMode::kDuotone)) {
            refuse(
                "color_mode: a Duotone PSD needs the inks and curves of a Duotone file that the picture was read from");
        }
        const bool alpha = m_header.form.alpha;
        m_mixes = alpha && (!m_keeps_layers || m_file.marked);
        m_adds_layer = alpha && !m_keeps_layers;
        add_coders(m_composite, m_planes + (alpha ? 1 : 0));
        if (m_adds_layer) {
            add_coders(m_layer, m_planes);  // its transparency is that of the composite
        }
        if (m_encoding.new_thumbnail) {
            m_thumbnail.emplace(m_header, std::move(colors));
        }
        if (m_mode == PsdColorMode::kIndexed) {
            find_transparent();
        }
        m_plane.resize(row_bytes());
        m_row.resize(m_header.form.pixel_size() * static_cast<size_t>(m_header.width));
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        const size_t row_size = m_row.size();
        assert(count >= 0 && m_next + count <= m_header.height && rows.size() == row_size * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++, m_next++) {
            write_row(rows.subspan(row_size * static_cast<size_t>(i), row_size));
        }
    }

    void finish() override {
        assert(m_next == m_header.height);
        if (m_keeps_layers) {
            add_further_channels();
        }
        for (const Coders* coders : {&m_composite, &m_layer}) {
            for (const auto& coder : *coders) {
                coder->finish();
            }
        }
        put_header();
        put_color_data();
        put_section(changed_resources(m_kept.source.get(), m_file.blocks, resource_changes()), 4);
        if (m_keeps_layers) {
            put_kept_layers();
        } else if (m_adds_layer) {
            put_section(layer_section(), length_size());
        } else {
            put_number(m_out, 0, length_size());
        }
        put_planes(m_out, m_encoding.compression, m_encoding.large, pointers(m_composite));
    }

 private:
    int length_size() const { return m_encoding.large ? 8 : 4; }

    size_t row_bytes() const {
        const auto width = static_cast<size_t>(m_header.width);
        const int bits = m_header.form.bits;
        return bits == 1 ? (width + 7) / 8 : width * static_cast<size_t>(bits / 8);
    }

    void add_coders(Coders& coders, int count) const {
        for (int i = 0; i < count; i++) {
            coders.push_back(
                std::make_unique<PlaneCoder>(m_encoding.compression, m_header.form.bits, m_encoding.large));
        }
    }

    static std::vector<const PlaneCoder*> pointers(const Coders& coders) {
        std::vector<const PlaneCoder*> result(coders.size());
        std::transform(coders.begin(), coders.end(), result.begin(), [](const auto& coder) { return coder.get(); });
        return result;
    }

    void choose_mode() {
        if (psd_form(m_header, m_encoding) != m_header.form) {
            refuse("the picture is not in the form in which PSD holds it");
        }
        const PixelForm& form = m_header.form;
        m_mode = m_encoding.color;
        if (m_mode == PsdColorMode::kAuto) {
            m_mode = form.color == ColorModel::kGray      ? form.bits == 1 ? PsdColorMode::kBitmap : PsdColorMode::kGray
                     : form.color == ColorModel::kIndexed ? PsdColorMode::kIndexed
                     : form.color == ColorModel::kRgb     ? PsdColorMode::kRgb
                     : form.color == ColorModel::kCmyk    ? PsdColorMode::kCmyk
                                                          : PsdColorMode::kLab;
        }
        m_planes = m_mode == PsdColorMode::kMultichannel && m_encoding.channels != 0 ? m_encoding.channels
                                                                                     : form.color_bands();
    }

    void check_size() const {
        const int32_t most = m_encoding.large ? kPsbMostSide : kPsdMostSide;
        if (m_header.width > most || m_header.height > most) {
            const std::string has = m_encoding.large ? "PSB has at most " : "PSD has at most ";
            refuse(has + std::to_string(most) + " pixels to a side" + (m_encoding.large ? "" : "; PSB has 300000"));
        }
        if (m_mode == PsdColorMode::kIndexed && (m_header.palette.empty() || m_header.palette.size() > 256)) {
            refuse("an Indexed PSD has 1 to 256 colors, not " + std::to_string(m_header.palette.size()));
        }
    }

    // The first transparent color stands for all of them.
    void find_transparent() {
        m_indices.resize(256);
        std::iota(m_indices.begin(), m_indices.end(), uint8_t{0});
        for (size_t i = 0; i < m_header.palette.size(); i++) {
            if (const Argb alpha = m_header.palette[i] >> 24; alpha == 0) {
                m_transparent = m_transparent.value_or(static_cast<uint8_t>(i));
                m_indices[i] = *m_transparent;
            } else if (alpha != 255) {
                refuse("an Indexed PSD has no half transparent colors");
            }
        }
    }

    void write_row(std::span<const uint8_t> row) {
        const PixelForm& form = m_header.form;
        check_lacking_inks(row);
        for (size_t band = 0; band < m_layer.size(); band++) {
            take_band(form, static_cast<int>(band), row.data(), m_header.width, m_plane);
            m_layer[band]->add(m_plane);
        }
        if (m_mixes || m_transparent) {
            std::copy(row.begin(), row.end(), m_row.begin());
            row = m_row;
        }
        if (m_mixes) {
            mix_with_white(form, m_header.width, m_row.data());
        }
        if (m_transparent) {
            std::transform(m_row.begin(), m_row.end(), m_row.begin(), [&](uint8_t index) { return m_indices[index]; });
        }
        for (size_t band = 0; band < m_composite.size(); band++) {
            take_band(form, static_cast<int>(band), row.data(), m_header.width, m_plane);
            m_composite[band]->add(m_plane);
        }
        if (m_thumbnail) {
            m_thumbnail->add(row.data());
        }
    }

    // A multichannel file of fewer channels than inks can hold no picture with the others.
    void check_lacking_inks(std::span<const uint8_t> row) const {
        const PixelForm& form = m_header.form;
        if (m_planes == form.color_bands()) {
            return;
        }
        const size_t pixel = form.pixel_size();
        const size_t held = sample_size(form.sample) * static_cast<size_t>(m_planes);
        for (size_t at = 0; at < row.size(); at += pixel) {
            const auto rest = row.subspan(at + held, pixel - held);
            if (std::any_of(rest.begin(), rest.end(), [](uint8_t byte) { return byte != 0; })) {
                refuse("the picture has inks beyond the " + std::to_string(m_planes) + " channels of the file");
            }
        }
    }

    void add_further_channels() {
        const int written = m_planes + (m_header.form.alpha ? 1 : 0);
        if (m_file.channels <= written) {
            return;
        }
        std::vector<int> numbers(static_cast<size_t>(m_file.channels - written));
        std::iota(numbers.begin(), numbers.end(), written);
        for (const auto& plane : open_psd_planes(m_kept.source, m_file, numbers, nullptr)) {
            add_coders(m_composite, 1);
            for (int32_t y = 0; y < m_header.height; y++) {
                if (!plane->read(m_plane)) {
                    throw PictureError(Failure::kDamaged, "a channel beside the picture: " + plane->fault());
                }
                m_composite.back()->add(m_plane);
            }
        }
    }

    void put_header() {
        put_text(m_out, "8BPS");
        put_number(m_out, m_encoding.large ? 2 : 1, 2);
        put_number(m_out, 0, 6);
        put_number(m_out, m_composite.size(), 2);
        put_number(m_out, static_cast<uint64_t>(m_header.height), 4);
        put_number(m_out, static_cast<uint64_t>(m_header.width), 4);
        put_number(m_out, static_cast<uint64_t>(m_header.form.bits), 2);
        put_number(m_out, static_cast<uint64_t>(m_mode), 2);
    }

    void put_color_data() {
        PsdBytes data;
        if (m_mode == PsdColorMode::kIndexed) {
            constexpr size_t kColors = 256;
            data.resize(3 * kColors);
            for (size_t i = 0; i < m_header.palette.size(); i++) {
                data[i] = static_cast<uint8_t>(m_header.palette[i] >> 16);
                data[kColors + i] = static_cast<uint8_t>(m_header.palette[i] >> 8);
                data[2 * kColors + i] = static_cast<uint8_t>(m_header.palette[i]);
            }
        } else if (m_kept.source != nullptr && m_file.mode == m_mode) {
            data = psd_bytes(*m_kept.source, m_file.color_data);  // the inks and curves of a duotone
        }
        put_section(data, 4);
    }

    void put_section(const PsdBytes& data, int length_size) {
        constexpr uint64_t kMost = 0xFFFFFFFF;
        if (length_size == 4 && data.size() > kMost) {
            refuse("a section of the file would be larger than a PSD can have it");
        }
        put_number(m_out, data.size(), length_size);
        put_bytes(m_out, data);
    }

    ResourceChanges resource_changes() {
        ResourceChanges changes;
        if (!m_keeps_layers) {
            for (const PsdResource& block : m_file.blocks) {
                if (is_of_layers(block.id)) {
                    changes[block.id] = std::nullopt;
                }
            }
        }
        if (m_header.resolution && m_header.resolution != kept_resolution()) {
            changes[kPsdResolution] = resolution_data(*m_header.resolution);
        }
        changes[kPsdProfile] = std::nullopt;
        if (m_header.profile != nullptr) {
            changes[kPsdProfile] = *m_header.profile;
        }
        changes[kPsdPaletteCount] = std::nullopt;
        changes[kPsdTransparentIndex] = std::nullopt;
        if (m_mode == PsdColorMode::kIndexed) {
            if (m_header.palette.size() < 256) {
                put_number(changes[kPsdPaletteCount].emplace(), m_header.palette.size(), 2);
            }
            if (m_transparent) {
                put_number(changes[kPsdTransparentIndex].emplace(), *m_transparent, 2);
            }
        }
        if (m_thumbnail) {
            changes[kPsdOldThumbnail] = std::nullopt;
            changes[kPsdThumbnail] = m_thumbnail->resource();
        }
        return changes;
    }

    std::optional<Resolution> kept_resolution() const {
        if (m_kept.source == nullptr) {
            return std::nullopt;
        }
        SourceBytes bytes(m_kept.source, SourceBytes::kHeaderWindow);
        return psd_resolution(m_file, bytes);
    }

    void put_kept_layers() {
        const PsdRange text = m_encoding.without_text_engine ? m_file.text_engine : PsdRange{m_file.layers.end(), 0};
        put_number(m_out, m_file.layers.size - text.size, length_size());
        put_bytes(m_out, psd_bytes(*m_kept.source, {m_file.layers.at, text.at - m_file.layers.at}));
        put_bytes(m_out, psd_bytes(*m_kept.source, {text.end(), m_file.layers.end() - text.end()}));
    }

    // One layer with the whole picture. Those of more than 8 bits stand in a block behind the layers of 8 bits.
    PsdBytes layer_section() const {
        std::vector<const PlaneCoder*> planes{m_composite.back().get()};
        for (const auto& coder : m_layer) {
            planes.push_back(coder.get());
        }
        PsdBytes data;
        PsdBytes info;
        put_number(info, 0xFFFF, 2);  // -1: one layer, and the composite has transparency
        put_number(info, 0, 4);
        put_number(info, 0, 4);
        put_number(info, static_cast<uint64_t>(m_header.height), 4);
        put_number(info, static_cast<uint64_t>(m_header.width), 4);
        put_number(info, planes.size(), 2);
        for (size_t i = 0; i < planes.size(); i++) {
            const size_t before = data.size();
            const PlaneCoder* const one[] = {planes[i]};
            put_planes(data, m_encoding.compression, m_encoding.large, one);
            put_number(info, i == 0 ? 0xFFFF : i - 1, 2);
            const uint64_t length = data.size() - before;
            if (!m_encoding.large && length > 0xFFFFFFFF) {
                refuse("a channel of the layer would be larger than a PSD can have it");
            }
            put_number(info, length, length_size());
        }
        put_text(info, "8BIMnorm");
        put_number(info, 255, 1);  // opaque
        put_number(info, 0, 3);    // not clipped, visible
        constexpr std::string_view kName = "Layer 1";
        put_number(info, 4 + 4 + 8, 4);
        put_number(info, 0, 4);  // no mask
        put_number(info, 0, 4);  // no blending ranges
        put_number(info, kName.size(), 1);
        put_text(info, kName);
        put_bytes(info, data);

        const int bits = m_header.form.bits;
        info.resize((info.size() + 3) / 4 * 4);
        PsdBytes section;
        if (bits == 8) {
            put_layer_info(section, info);
            put_number(section, 0, 4);  // no mask of all layers
            return section;
        }
        put_number(section, 0, length_size());
        put_number(section, 0, 4);
        put_text(section, bits == 16 ? "8BIMMt16" : "8BIMMt32");
        put_number(section, 0, length_size());
        put_text(section, bits == 16 ? "8BIMLr16" : "8BIMLr32");
        put_layer_info(section, info);
        return section;
    }

    void put_layer_info(PsdBytes& section, const PsdBytes& info) const {
        if (!m_encoding.large && info.size() > 0xFFFFFFFF) {
            refuse("the layer would be larger than a PSD can have it");
        }
        put_number(section, info.size(), length_size());
        put_bytes(section, info);
    }

    RowsHeader m_header;
    PsdEncoding m_encoding;
    PsdKept m_kept;
    PsdBytes& m_out;
    PsdFile m_file;  // whose resources are kept
    PsdColorMode m_mode = PsdColorMode::kRgb;
    int m_planes = 0;  // of colors
    bool m_keeps_layers = false;
    bool m_adds_layer = false;
    bool m_mixes = false;  // the composite's colors with white
    Coders m_composite;
    Coders m_layer;
    std::optional<PsdThumbnail> m_thumbnail;
    std::optional<uint8_t> m_transparent;
    std::vector<uint8_t> m_indices;
    std::vector<uint8_t> m_plane;
    std::vector<uint8_t> m_row;
    int32_t m_next = 0;
};

}  // namespace

std::unique_ptr<RowWriter> make_psd_writer(const RowsHeader& header, const PsdEncoding& encoding, PsdKept kept,
                                           std::vector<uint8_t>& out, StandardColors colors) {
    assert(header.width > 0 && header.height > 0);
    return std::make_unique<PsdWriter>(header, encoding, std::move(kept), out, std::move(colors));
}

}  // namespace zelmor::imagework
