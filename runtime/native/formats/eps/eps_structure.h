// The structure of an EPS file: its parts, and what its comments say of the picture.
//
// A file is PostScript text, or begins with a binary header that tells where the text and a preview lie. Comments are
// lines that begin with two percent signs. Their texts are ISO 8859-1.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_STRUCTURE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

struct EpsPart {
    uint64_t at = 0;
    uint64_t size = 0;
    bool empty() const { return size == 0; }
};

struct EpsParts {
    bool has_header = false;
    EpsPart text;
    EpsPart wmf, tiff;  // previews behind the text
};

// The parts as the file claims them; they may lie outside of it.
EpsParts eps_parts(const ByteReader& file);

// A rectangle in points, y upward.
struct EpsBox {
    double left = 0, bottom = 0, right = 0, top = 0;
    bool operator==(const EpsBox&) const = default;
};

struct EpsComments {
    std::string version;  // "PS-Adobe-3.0 EPSF-3.0"
    std::optional<std::string> title, creator, creation_date;
    std::optional<std::string> box_text;  // %%BoundingBox as it stands there
    std::optional<EpsBox> box;            // whole points
    std::optional<EpsBox> exact_box;      // %%HiResBoundingBox
    int32_t pages = 1;
    int32_t page = 1;  // the ordinal of the first page

    // The part of the page that is shown: a page of letter size where the file does not tell.
    EpsBox shown() const;
};

// Reads the comments at the beginning, and at the end those that the beginning puts off.
EpsComments eps_comments(const ByteReader& file, const EpsPart& text);

// A preview in the comments: samples of 1, 2, 4 or 8 bits in rows of whole bytes, of which the greatest is black.
struct EpsPreview {
    int32_t width = 0, height = 0, depth = 0;
    std::vector<uint8_t> rows;
};
// Nothing where the text has no preview, or one that ends early.
std::optional<EpsPreview> eps_preview(std::string_view text);
// The text without the preview.
std::string without_preview(std::string_view text);
// The text with a preview behind its first comments.
std::string with_preview(std::string_view text, const EpsPreview& preview);

// The JPEG thumbnail among the resources in the text; empty for none.
std::vector<uint8_t> eps_thumbnail(std::string_view text);

// A date as programs write it in the comments: "Mon Jan 2 15:04:05 2006", "2006-01-02 15:04", "1/2/06 3:04 PM",
// "D:20060102150405".
struct EpsDate {
    int year = 1, month = 1, day = 1, hour = 0, minute = 0, second = 0;
    bool operator==(const EpsDate&) const = default;
};
std::optional<EpsDate> eps_date(std::string_view text);

// A file with a binary header; the previews may be empty.
std::vector<uint8_t> eps_with_header(std::span<const uint8_t> text, std::span<const uint8_t> wmf,
                                     std::span<const uint8_t> tiff);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_STRUCTURE_H
