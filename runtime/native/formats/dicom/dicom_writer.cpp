// Writing; see dicom_writer.h. Files are written with types, in little endian.
#include "runtime/native/formats/dicom/dicom_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <charconv>
#include <cstring>

#include "runtime/native/formats/dicom/dicom_names.h"
#include "runtime/native/formats/dicom/sample_range.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

constexpr const char* kSecondaryCapture = "1.2.840.10008.5.1.4.1.1.7";
// Any number of 128 bits may stand behind 2.25; this one is the program's.
constexpr const char* kImplementation = "2.25.190873455521480367716442305712290847361";

using Bytes = std::vector<uint8_t>;

void put_number(Bytes& out, uint64_t value, size_t size) {
    for (size_t i = 0; i < size; i++) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}

// An element as it stands in a file. A value of an odd number of bytes gets another one.
Bytes element_bytes(DicomTag tag, DicomType type, std::span<const uint8_t> value, bool undefined = false) {
    Bytes out;
    put_number(out, tag >> 16, 2);
    put_number(out, tag & 0xFFFF, 2);
    const size_t size = (value.size() + 1) / 2 * 2;
    DicomType written = type;
    if (!has_long_length(written) && size > 0xFFFE) {
        written = dicom_type("UN");
    }
    out.push_back(static_cast<uint8_t>(written >> 8));
    out.push_back(static_cast<uint8_t>(written));
    if (has_long_length(written)) {
        put_number(out, 0, 2);
        put_number(out, undefined ? kDicomUndefined : size, 4);
    } else {
        put_number(out, size, 2);
    }
    out.insert(out.end(), value.begin(), value.end());
    if (value.size() % 2 != 0) {
        const bool zero = type == dicom_type("UI") || type == dicom_type("OB") || type == dicom_type("UN");
        out.push_back(zero ? 0 : ' ');
    }
    return out;
}

// Puts values under tags whose types are known.
class Elements {
 public:
    explicit Elements(DicomElements& elements) : m_elements(elements) {}

    void text(DicomTag tag, const std::string& value) {
        m_elements[tag] =
            element_bytes(tag, type_of(tag), {reinterpret_cast<const uint8_t*>(value.data()), value.size()});
    }
    void text_if_absent(DicomTag tag, const std::string& value) {
        if (!m_elements.contains(tag)) {
            text(tag, value);
        }
    }
    void words(DicomTag tag, std::initializer_list<int> values) {
        Bytes bytes;
        for (const int value : values) {
            put_number(bytes, static_cast<uint64_t>(value), 2);
        }
        m_elements[tag] = element_bytes(tag, type_of(tag), bytes);
    }
    void bytes(DicomTag tag, const Bytes& value) { m_elements[tag] = element_bytes(tag, type_of(tag), value); }

 private:
    static DicomType type_of(DicomTag tag) {
        const DicomName* known = dicom_name(tag);
        assert(known != nullptr);
        return known->type;
    }
    DicomElements& m_elements;
};

// A number that follows from the pixels and the header, so that another picture has another one.
class Fingerprint {
 public:
    void add(std::span<const uint8_t> bytes) {
        const size_t whole = bytes.size() / sizeof(uint64_t) * sizeof(uint64_t);
        for (size_t at = 0; at < whole; at += sizeof(uint64_t)) {
            add_word(&bytes[at], sizeof(uint64_t));
        }
        if (whole < bytes.size()) {
            add_word(&bytes[whole], bytes.size() - whole);
        }
        const uint64_t size = bytes.size();
        add_word(&size, sizeof(size));
    }
    // "2.25." and the number of 128 bits. The seed makes several of one picture.
    std::string uid(uint8_t seed) const {
        Fingerprint own = *this;
        const std::array<uint8_t, 2> bytes = {seed, 0x5A};
        own.add(bytes);
        std::array<uint32_t, 4> number{};
        for (size_t i = 0; i < 4; i++) {
            number[i] = static_cast<uint32_t>(own.m_parts[i / 2] >> (i % 2 == 0 ? 32 : 0));
        }
        std::string digits;
        while (std::any_of(number.begin(), number.end(), [](uint32_t part) { return part != 0; })) {
            uint64_t rest = 0;
            for (uint32_t& part : number) {
                const uint64_t value = rest << 32 | part;
                part = static_cast<uint32_t>(value / 10);
                rest = value % 10;
            }
            digits.insert(digits.begin(), static_cast<char>('0' + rest));
        }
        return "2.25." + (digits.empty() ? "0" : digits);
    }

 private:
    // Up to eight bytes at once: they reach all bits of both parts by the words that follow, of which there is one for
    // the size at least.
    void add_word(const void* bytes, size_t count) {
        uint64_t word = 0;
        std::memcpy(&word, bytes, count);
        constexpr std::array<uint64_t, 2> kFactors = {0x9E3779B97F4A7C15, 0xD1342543DE82EF95};
        for (size_t i = 0; i < m_parts.size(); i++) {
            m_parts[i] = std::rotl((m_parts[i] ^ word) * kFactors[i], 29) + i;
        }
    }

    std::array<uint64_t, 2> m_parts = {0xCBF29CE484222325, 0x84222325CBF29CE4};
};

// At most 16 characters, as numbers in texts have.
std::string decimal(double value) {
    constexpr std::ptrdiff_t kMost = 16;
    constexpr int kDigits = 10;
    char text[64];
    char* end = text;
    for (int digits = kDigits; digits > 0; digits--) {
        end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, digits).ptr;
        if (end - text <= kMost) {
            break;
        }
    }
    return {text, end};
}

// ---- What is kept of another file

// The elements that tell of the pixels, or of the file itself.
bool tells_of_pixels(DicomTag tag) {
    switch (tag) {
        case 0x00080016:  // what kind of file it is
        case 0x00080018:  // its name in the world
        case 0x00182001:
        case 0x00281199:
        case 0x00282000:
        case 0x00282110:
        case 0x00282112:
        case 0x00282114:
        case 0x20500020:
        case 0x52009229:
        case 0x52009230:
        case 0x00209221:
        case 0x00209222:
        case 0xFFFAFFFA:  // signatures
        case 0xFFFCFFFC:
            return true;
        default:
            break;
    }
    const uint32_t group = tag >> 16;
    const uint32_t element = tag & 0xFFFF;
    if (group <= 2 || group == 0x7FE0 || group > 0xFFF0 || element == 0) {
        return true;
    }
    if (group != 0x0028) {
        return false;
    }
    return element != 0x0300 && element != 0x0301;
}

// Elements with a value of many bytes cost memory twice.
constexpr uint64_t kMostKept = limits::kTextBytes;

// A value without the header, whose words are turned where the file has them the other way round.
Bytes value_of(const ByteReader& file, const DicomElement& element, uint64_t size) {
    const auto piece = file.piece(element.at, size);
    Bytes value(piece.begin(), piece.end());
    if (!element.order.big_endian) {
        return value;
    }
    size_t unit = 1;
    switch (element.type) {
        case dicom_type("US"):
        case dicom_type("SS"):
        case dicom_type("OW"):
        case dicom_type("AT"):
            unit = 2;
            break;
        case dicom_type("UL"):
        case dicom_type("SL"):
        case dicom_type("FL"):
        case dicom_type("OF"):
        case dicom_type("OL"):
            unit = 4;
            break;
        case dicom_type("FD"):
        case dicom_type("OD"):
        case dicom_type("OV"):
        case dicom_type("SV"):
        case dicom_type("UV"):
            unit = 8;
            break;
        default:
            break;
    }
    for (size_t at = 0; at + unit <= value.size(); at += unit) {
        std::reverse(value.begin() + static_cast<std::ptrdiff_t>(at),
                     value.begin() + static_cast<std::ptrdiff_t>(at + unit));
    }
    return value;
}

template <class Keeps>
DicomElements elements_of(const DicomFile& file, Keeps&& keeps) {
    DicomElements kept;
    uint64_t size = 0;
    SourceBytes bytes(file.source, SourceBytes::kHeaderWindow);
    const ByteReader in(bytes);
    DicomWalk walk(in, file.header.data_set_at, file.header.order);
    auto element = walk.next();
    while (element && element->tag != DicomWalk::kPixelData) {
        // A sequence goes on to the next element outside of it.
        const DicomElement outer = *element;
        do {
            element = walk.next();
        } while (element && element->depth > 0);
        const uint64_t end = element ? element->header_at : walk.position();
        const bool is_list = outer.type == dicom_type("SQ") || outer.length == kDicomUndefined;
        // In big endian the lists would have to be written anew.
        if (!keeps(outer.tag) || end < outer.at || (is_list && (outer.order.big_endian || !element))) {
            continue;
        }
        const uint64_t length = is_list ? end - outer.at : outer.length;
        size += length;
        if (size > kMostKept || !bytes.has(outer.at, length)) {
            continue;
        }
        const bool undefined = outer.length == kDicomUndefined;
        if (undefined && length % 2 != 0) {
            continue;
        }
        // Lists of a file without types stay so inside of a type that says this.
        const bool unknown = !outer.order.explicit_types && (is_list || outer.type == 0);
        kept[outer.tag] =
            element_bytes(outer.tag, unknown ? dicom_type("UN") : outer.type, value_of(in, outer, length), undefined);
    }
    return kept;
}

// ---- The file

void put_file_header(Bytes& out, const std::string& kind, const std::string& name, const std::string& syntax) {
    DicomElements elements;
    Elements put(elements);
    put.bytes(0x00020001, {0, 1});
    put.text(0x00020002, kind);
    put.text(0x00020003, name);
    put.text(0x00020010, syntax);
    put.text(0x00020012, kImplementation);
    put.text(0x00020013, "ZELMOR_IMAGING");
    Bytes group;
    for (const auto& [tag, bytes] : elements) {
        group.insert(group.end(), bytes.begin(), bytes.end());
    }
    Bytes length;
    put_number(length, group.size(), 4);
    out.assign(128, 0);
    for (const char c : {'D', 'I', 'C', 'M'}) {
        out.push_back(static_cast<uint8_t>(c));
    }
    const Bytes first = element_bytes(0x00020000, dicom_type("UL"), length);
    out.insert(out.end(), first.begin(), first.end());
    out.insert(out.end(), group.begin(), group.end());
}

void put_item(Bytes& out, std::span<const uint8_t> value) {
    put_number(out, 0xFFFE, 2);
    put_number(out, 0xE000, 2);
    put_number(out, (value.size() + 1) / 2 * 2, 4);
    out.insert(out.end(), value.begin(), value.end());
    if (value.size() % 2 != 0) {
        out.push_back(0);
    }
}

void put_pixels(Bytes& out, std::span<const Bytes> frames, bool compressed, int allocated) {
    constexpr DicomTag kPixels = DicomWalk::kPixelData;
    uint64_t size = 0;
    for (const Bytes& frame : frames) {
        size += frame.size() + 9;
    }
    if (size > 0xFFFFFFF0) {
        throw PictureError(Failure::kEncoding, "the pixels would have more bytes than a DICOM file has room for");
    }
    out.reserve(out.size() + static_cast<size_t>(size) + 64);
    if (!compressed) {
        Bytes header = element_bytes(kPixels, allocated > 8 ? dicom_type("OW") : dicom_type("OB"), {});
        uint64_t bytes = 0;
        for (const Bytes& frame : frames) {
            bytes += frame.size();
        }
        header.resize(header.size() - 4);
        put_number(header, (bytes + 1) / 2 * 2, 4);
        out.insert(out.end(), header.begin(), header.end());
        for (const Bytes& frame : frames) {
            out.insert(out.end(), frame.begin(), frame.end());
        }
        out.resize(out.size() + bytes % 2);
        return;
    }
    const Bytes header = element_bytes(kPixels, dicom_type("OB"), {}, true);
    out.insert(out.end(), header.begin(), header.end());
    Bytes offsets;
    uint64_t at = 0;
    for (const Bytes& frame : frames) {
        put_number(offsets, at, 4);
        at += 8 + (frame.size() + 1) / 2 * 2;
    }
    put_item(out, offsets);
    for (const Bytes& frame : frames) {
        put_item(out, frame);
    }
    put_number(out, 0xFFFE, 2);
    put_number(out, 0xE0DD, 2);
    put_number(out, 0, 4);
}

std::string text_of(const DicomElements& elements, DicomTag tag) {
    const auto found = elements.find(tag);
    if (found == elements.end()) {
        return {};
    }
    DicomWalk walk(ByteReader(found->second), 0, {});
    const auto element = walk.next();
    return element ? dicom_text(ByteReader(found->second), *element) : std::string();
}

void put_palette(Elements& put, const DicomForm& form) {
    const auto entries = static_cast<int>(form.palette.size());
    const bool deep = !form.deep_palette.empty();
    for (int band = 0; band < 3; band++) {
        const auto number = static_cast<DicomTag>(band + 1);
        put.words(0x00281100 | number, {entries, 0, 16});
        Bytes table;
        for (size_t i = 0; i < form.palette.size(); i++) {
            const int shift = 2 - band;
            put_number(
                table,
                deep ? form.deep_palette[i] >> (16 * shift) & 0xFFFF : (form.palette[i] >> (8 * shift) & 0xFF) * 257,
                2);
        }
        put.bytes(0x00281200 | number, table);
    }
}

// The kind of file for a picture that came from elsewhere.
std::string kind_of(const DicomForm& form, size_t frames) {
    std::string kind = kSecondaryCapture;
    if (frames == 1 || form.photometric == "PALETTE COLOR") {
        return kind;
    }
    return kind + (form.samples == 3 ? ".4" : form.allocated > 8 ? ".3" : ".2");
}

}  // namespace

DicomForm dicom_form_of_rows(const RowsHeader& header, const DicomEncoding& encoding) {
    const PixelForm& form = header.form;
    assert(form.is_integer() && !form.alpha);
    DicomForm result;
    result.width = header.width;
    result.height = header.height;
    result.samples = form.color == ColorModel::kRgb ? 3 : 1;
    result.allocated = static_cast<int>(8 * sample_size(form.sample));
    result.stored = result.allocated;
    result.is_signed =
        form.sample == SampleType::kInt8 || form.sample == SampleType::kInt16 || form.sample == SampleType::kInt32;
    result.palette = header.palette;
    result.deep_palette = header.deep_palette;
    result.resolution = header.resolution;
    // The bits that the file of the picture had, where its samples still have that range.
    if (encoding.file != nullptr && encoding.samples == DicomSamples::kAuto && form.color != ColorModel::kIndexed) {
        const DicomHeader& own = encoding.file->header;
        if (is_sound(own) && dicom_form(own).sample == form.sample) {
            result.stored = own.stored;
        }
    }
    result.photometric = form.color == ColorModel::kIndexed ? "PALETTE COLOR"
                         : result.samples == 3              ? "RGB"
                                                            : "MONOCHROME2";
    const bool color = result.samples == 3;
    switch (encoding.compression) {
        case DicomCompression::kNone:
            result.syntax_uid = "1.2.840.10008.1.2.1";
            break;
        case DicomCompression::kRle:
            result.syntax_uid = "1.2.840.10008.1.2.5";
            result.compressed = true;
            break;
        case DicomCompression::kJpeg:
            result.compressed = true;
            if (encoding.jpeg.is_lossless) {
                result.syntax_uid = "1.2.840.10008.1.2.4.70";
                break;
            }
            result.syntax_uid = encoding.jpeg.progressive ? "1.2.840.10008.1.2.4.55" : "1.2.840.10008.1.2.4.50";
            if (color && encoding.jpeg.color != JpegColor::kRgb) {
                result.photometric = "YBR_FULL_422";
            }
            result.lossy_method = "ISO_10918_1";
            break;
        case DicomCompression::kJpeg2000: {
            const Jpeg2000Encoding& j2k = encoding.jpeg2000;
            const auto& ratios = j2k.compression_ratios;
            const bool lossy = j2k.irreversible || (!ratios.empty() && ratios.back() != 1.0F);
            result.syntax_uid = lossy ? "1.2.840.10008.1.2.4.91" : "1.2.840.10008.1.2.4.90";
            result.photometric = !color ? result.photometric : j2k.irreversible ? "YBR_ICT" : "YBR_RCT";
            result.compressed = true;
            result.lossy_method = lossy ? "ISO_15444_1" : "";
            break;
        }
    }
    return result;
}

std::vector<uint8_t> stored_samples(const PixelForm& form, int stored, std::vector<uint8_t> rows) {
    const size_t size = sample_size(form.sample);
    if (form.color == ColorModel::kIndexed || (size == 1 && stored == 8 && form.sample == SampleType::kUint8)) {
        return rows;
    }
    std::vector<uint8_t> out;
    out.reserve(rows.size());
    std::vector<uint32_t> samples(rows.size() / size);
    SampleRange(stored, form).take(rows, samples);
    const bool is_signed =
        form.sample != SampleType::kUint8 && form.sample != SampleType::kUint16 && form.sample != SampleType::kUint32;
    const uint32_t middle = is_signed ? uint32_t{1} << (stored - 1) : 0;
    for (const uint32_t sample : samples) {
        // The bits above those that count repeat the sign.
        put_number(out, static_cast<uint64_t>(static_cast<int64_t>(sample) - middle), size);
    }
    return out;
}

std::vector<uint8_t> dicom_runs(const DicomForm& form, std::span<const uint8_t> frame) {
    const auto size = static_cast<size_t>(form.allocated / 8);
    const auto samples = static_cast<size_t>(form.samples);
    const auto width = static_cast<size_t>(form.width);
    const size_t pixel = size * samples;
    Bytes out(64);
    Bytes row(width);
    std::vector<size_t> offsets;
    for (size_t segment = 0; segment < pixel; segment++) {
        offsets.push_back(out.size());
        const size_t from = segment / size * size + (size - 1 - segment % size);  // the highest byte first
        for (size_t y = 0; y < static_cast<size_t>(form.height); y++) {
            for (size_t x = 0; x < width; x++) {
                row[x] = frame[(y * width + x) * pixel + from];
            }
            for (size_t x = 0; x < width;) {
                size_t same = 1;
                while (x + same < width && same < 128 && row[x + same] == row[x]) {
                    same++;
                }
                if (same > 1) {
                    out.push_back(static_cast<uint8_t>(257 - same));
                    out.push_back(row[x]);
                    x += same;
                    continue;
                }
                size_t count = 1;
                while (x + count < width && count < 128 &&
                       !(x + count + 1 < width && row[x + count] == row[x + count + 1])) {
                    count++;
                }
                out.push_back(static_cast<uint8_t>(count - 1));
                out.insert(out.end(), row.begin() + static_cast<std::ptrdiff_t>(x),
                           row.begin() + static_cast<std::ptrdiff_t>(x + count));
                x += count;
            }
        }
        out.resize((out.size() + 1) / 2 * 2);
    }
    Bytes head;
    put_number(head, offsets.size(), 4);
    for (const size_t offset : offsets) {
        put_number(head, offset, 4);
    }
    std::copy(head.begin(), head.end(), out.begin());
    return out;
}

DicomElements kept_elements(const DicomFile& file, bool same_samples) {
    constexpr DicomTag kFirstMeaning = 0x00281050;  // windows and rescaling
    constexpr DicomTag kLastMeaning = 0x00281056;
    return elements_of(file, [same_samples](DicomTag tag) {
        return !tells_of_pixels(tag) || (same_samples && tag >= kFirstMeaning && tag <= kLastMeaning);
    });
}

DicomElements all_elements(const DicomFile& file) {
    return elements_of(file, [](DicomTag tag) {
        const uint32_t group = tag >> 16;
        return group > 2 && group != 0x7FE0 && group <= 0xFFF0 && (tag & 0xFFFF) != 0;
    });
}

std::vector<uint8_t> dicom_file(const DicomForm& form, std::span<const std::vector<uint8_t>> frames,
                                DicomElements elements) {
    assert(!frames.empty());
    const std::string kind = kind_of(form, frames.size());
    Elements put(elements);
    Fingerprint fingerprint;
    for (const auto& [tag, bytes] : elements) {
        fingerprint.add(bytes);
    }
    for (const Bytes& frame : frames) {
        fingerprint.add(frame);
    }
    const std::string name = fingerprint.uid(1);
    put.text(0x00080008, "DERIVED\\SECONDARY");
    put.text(0x00080016, kind);
    put.text(0x00080018, name);
    for (const DicomTag tag : {0x00080020U, 0x00080030U, 0x00080050U, 0x00080090U, 0x00100010U, 0x00100020U,
                               0x00100030U, 0x00100040U, 0x00200010U, 0x00200011U, 0x00200020U}) {
        put.text_if_absent(tag, "");
    }
    put.text_if_absent(0x00080060, "OT");
    put.text_if_absent(0x00080064, "WSD");
    put.text_if_absent(0x0020000D, fingerprint.uid(2));
    put.text_if_absent(0x0020000E, fingerprint.uid(3));
    put.text_if_absent(0x00200013, "1");
    put.words(0x00280002, {form.samples});
    put.text(0x00280004, form.photometric);
    if (form.samples > 1) {
        put.words(0x00280006, {0});
    }
    if (frames.size() > 1) {
        put.text(0x00280008, std::to_string(frames.size()));
        put.words(0x00280009, {0x0018, 0x2001});
        std::string pages;
        for (size_t i = 1; i <= frames.size(); i++) {
            pages += (i > 1 ? "\\" : "") + std::to_string(i);
        }
        put.text(0x00182001, pages);
        put.text_if_absent(0x00280301, "NO");
        if (form.samples == 1 && form.palette.empty()) {
            put.text(0x20500020, "IDENTITY");
        }
    }
    put.words(0x00280010, {form.height});
    put.words(0x00280011, {form.width});
    if (form.resolution) {
        put.text(0x00280030, decimal(kMillimetersPerInch / form.resolution->vertical) + "\\" +
                                 decimal(kMillimetersPerInch / form.resolution->horizontal));
    }
    put.words(0x00280100, {form.allocated});
    put.words(0x00280101, {form.stored});
    put.words(0x00280102, {form.stored - 1});
    put.words(0x00280103, {form.is_signed ? 1 : 0});
    if (!form.palette.empty()) {
        put_palette(put, form);
    }
    if (!form.lossy_method.empty()) {
        size_t bytes = 0;
        for (const Bytes& frame : frames) {
            bytes += frame.size();
        }
        const double samples = static_cast<double>(form.width) * form.height * form.samples * form.allocated / 8;
        put.text(0x00282110, "01");
        put.text(0x00282112, decimal(samples * static_cast<double>(frames.size()) / static_cast<double>(bytes)));
        put.text(0x00282114, form.lossy_method);
    }
    Bytes out;
    put_file_header(out, kind, name, form.syntax_uid);
    for (const auto& [tag, bytes] : elements) {
        if (tag < DicomWalk::kPixelData) {
            out.insert(out.end(), bytes.begin(), bytes.end());
        }
    }
    put_pixels(out, frames, form.compressed, form.allocated);
    return out;
}

std::vector<uint8_t> dicom_file_of_frames(const DicomFile& file, std::span<const std::vector<uint8_t>> frames) {
    const DicomHeader& header = file.header;
    const bool compressed = header.syntax->coding != DicomCoding::kRaw;
    DicomElements elements = all_elements(file);
    Elements put(elements);
    Fingerprint fingerprint;
    for (const auto& [tag, bytes] : elements) {
        fingerprint.add(bytes);
    }
    for (const Bytes& frame : frames) {
        fingerprint.add(frame);
    }
    const std::string kind = text_of(elements, 0x00080016);
    const std::string name = fingerprint.uid(1);
    put.text(0x00080018, name);
    put.text(0x00280008, std::to_string(frames.size()));
    if (elements.contains(0x00182001)) {
        std::string pages;
        for (size_t i = 1; i <= frames.size(); i++) {
            pages += (i > 1 ? "\\" : "") + std::to_string(i);
        }
        put.text(0x00182001, pages);
    }
    elements.erase(0x52009230);  // tells of each frame by its place
    Bytes out;
    put_file_header(out, kind.empty() ? kSecondaryCapture : kind, name,
                    compressed ? header.syntax_uid : "1.2.840.10008.1.2.1");
    for (const auto& [tag, bytes] : elements) {
        if (tag < DicomWalk::kPixelData) {
            out.insert(out.end(), bytes.begin(), bytes.end());
        }
    }
    put_pixels(out, frames, compressed, header.allocated);
    return out;
}

}  // namespace zelmor::imagework
