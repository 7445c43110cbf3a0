// DICOM: the mark stands behind 128 bytes that mean nothing.
#include <algorithm>
#include <vector>

#include "runtime/native/formats/dicom/dicom_encoding.h"
#include "runtime/native/formats/dicom/dicom_header.h"
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/inflate.h"

namespace zelmor::imagework {
namespace {

bool begins_dicom(const ByteReader& in) {
    return in.starts_with(128, "DICM");
}

// The file up to the data set, and behind it the data set as it was before it was compressed.
std::vector<uint8_t> inflated_file(const ByteReader& file, const DicomHeader& header, size_t most) {
    const std::vector<uint8_t> data_set = inflated(file, header.data_set_at, 64 * most, Wrapping::kNone, most).bytes;
    const auto head = file.piece(0, header.data_set_at);
    std::vector<uint8_t> whole(head.begin(), head.end());
    whole.insert(whole.end(), data_set.begin(), data_set.end());
    return whole;
}

void take_facts(const ByteReader& file, DicomHeader header, FileFacts& facts) {
    read_dicom_data_set(file, header, false);
    facts.obstacle = dicom_obstacle(header);
    if (!facts.obstacle.empty() || !is_sound(header)) {
        return;
    }
    const PixelForm form = dicom_form(header);
    facts.width = header.columns;
    facts.height = header.rows;
    facts.bits_per_pixel = form.bits * form.bands();
    facts.has_resolution = header.resolution.has_value();
    facts.frame_count = static_cast<int>(std::min<int64_t>(header.frames, INT32_MAX));
    facts.encoding = DicomEncoding{};
    facts.readable = true;
}

void probe_dicom(const ByteReader& in, FileFacts& facts) {
    const auto header = dicom_file_header(in);
    if (!header) {
        return;
    }
    if (header->syntax != nullptr && header->syntax->deflated) {
        const std::vector<uint8_t> bytes = inflated_file(in, *header, limits::kHeaderBytes);
        return take_facts(ByteReader(bytes), *header, facts);
    }
    take_facts(in, *header, facts);
}

constexpr const char* kDicomExtensions[] = {"dcm", "dicom"};

}  // namespace

std::optional<DicomFile> open_dicom_file(const SharedSource& source, size_t most_inflated) {
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    const ByteReader in(bytes);
    auto header = dicom_file_header(in);
    if (!header) {
        return std::nullopt;
    }
    DicomFile file{source, std::move(*header)};
    if (file.header.syntax != nullptr && file.header.syntax->deflated) {
        file.source = memory_source(inflated_file(in, file.header, most_inflated));
        SourceBytes whole(file.source, SourceBytes::kHeaderWindow);
        read_dicom_data_set(ByteReader(whole), file.header, true);
    } else {
        read_dicom_data_set(in, file.header, true);
    }
    return file;
}

extern const FormatRoom kDicomRoom;
const FormatRoom kDicomRoom{
    .format = Format::kDicom,
    .name = "DICOM",
    .extensions = kDicomExtensions,
    .begins = &begins_dicom,
    .probe = &probe_dicom,
    .default_settings = &default_settings_of<DicomEncoding>,
};

}  // namespace zelmor::imagework
