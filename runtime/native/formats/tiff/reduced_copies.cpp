// Which directories are copies of a page; see reduced_copies.h.
#include "runtime/native/formats/tiff/reduced_copies.h"

#include <algorithm>
#include <cassert>
#include <optional>

#include "runtime/native/formats/tiff/tiff_entry.h"
#include "runtime/native/formats/tiff/tiff_structure.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::imagework {
namespace {

// More copies than any side can be halved.
constexpr size_t kMostCopies = 64;

enum Subfile : uint64_t { kReduced = 1, kMask = 4 };

// What a directory says of the picture as a whole.
struct Directory {
    uint64_t at = 0;
    uint64_t width = 0;
    uint64_t height = 0;
    uint64_t subfile = 0;
    uint64_t orientation = 1;
    std::vector<uint64_t> subdirectories = {};

    bool is_mask() const { return (subfile & kMask) != 0; }
    bool is_reduced() const { return (subfile & kReduced) != 0 && !is_mask(); }
};

std::vector<uint64_t> offsets(const ByteReader& in, const TiffEntry& entry) {
    std::vector<uint64_t> found;
    const uint64_t size = tiff_type_size(entry.type());
    const uint64_t count = size == 4 || size == 8 ? std::min<uint64_t>(entry.count(), kMostCopies) : 0;
    for (uint64_t i = 0; i < count; i++) {
        found.push_back(read_tiff_number(in, entry.at() + i * size, size));
    }
    return found;
}

// Nothing where there is no directory that makes sense.
std::optional<Directory> read_directory(const ByteReader& file, TiffForm form, uint64_t at) {
    const ByteReader in = file.in_order(file.u8(0) == 'M');
    const uint64_t count = form.entries(in, at);
    if (count > limits::kEntries) {
        return std::nullopt;
    }
    Directory found{.at = at};
    uint64_t place = form.entry_at(at, 0);
    for (uint64_t i = 0; i < count && in.ok(); i++, place += form.entry_size()) {
        const TiffEntry entry(in, form, place);
        switch (in.u16(place)) {
            case kTiffSubfileType:
                found.subfile = entry.number(in, 0);
                break;
            case kTiffWidth:
                found.width = entry.number(in, 0);
                break;
            case kTiffHeight:
                found.height = entry.number(in, 0);
                break;
            case kTiffOrientation:
                found.orientation = entry.number(in, 1);
                break;
            case kTiffSubDirectories:
                found.subdirectories = offsets(in, entry);
                break;
            default:
                break;
        }
    }
    const auto is_side = [](uint64_t side) { return side > 0 && side <= static_cast<uint64_t>(limits::kSide); };
    return in.ok() && is_side(found.width) && is_side(found.height) ? std::optional(found) : std::nullopt;
}

// Sides that are those of the page by one divisor, rounded in any way.
bool has_aspect_of(const Directory& page, const Directory& copy) {
    return page.width * (copy.height - 1) < page.height * (copy.width + 1) &&
           page.height * (copy.width - 1) < page.width * (copy.height + 1);
}

bool is_smaller(const Directory& copy, const Directory& than) {
    return copy.width <= than.width && copy.height <= than.height &&
           (copy.width < than.width || copy.height < than.height);
}

bool is_copy_of(const Directory& page, const Directory& copy) {
    return copy.is_reduced() && is_smaller(copy, page) && copy.orientation == page.orientation &&
           has_aspect_of(page, copy);
}

// The copies among the pages behind one, up to the next page that is none. A list that does not get smaller and smaller
// is no pyramid of one page, and behind two pages of a size nothing tells whose copies they are.
std::vector<Directory> following_copies(const ByteReader& file, TiffForm form, std::span<const uint64_t> pages,
                                        size_t index, const Directory& page) {
    if (index > 0) {
        const auto before = read_directory(file, form, pages[index - 1]);
        if (!before ||
            (before->subfile == page.subfile && before->width == page.width && before->height == page.height)) {
            return {};
        }
    }
    std::vector<Directory> found;
    const Directory* last = &page;
    found.reserve(kMostCopies);
    for (size_t i = index + 1; i < pages.size() && found.size() < kMostCopies; i++) {
        const auto next = read_directory(file, form, pages[i]);
        if (!next || (!next->is_reduced() && !next->is_mask())) {
            break;
        }
        if (next->is_mask()) {
            continue;
        }
        if (!is_smaller(*next, *last)) {
            return {};
        }
        last = &found.emplace_back(*next);
    }
    return found;
}

}  // namespace

std::vector<ReducedCopy> reduced_copies(const ByteReader& file, std::span<const uint64_t> pages, size_t index,
                                        Sides least) {
    assert(index < pages.size());
    const TiffForm form = tiff_form(file.in_order(file.u8(0) == 'M'));
    const auto page = read_directory(file, form, pages[index]);
    if (!page || page->is_reduced() || page->is_mask()) {
        return {};
    }
    std::vector<Directory> found = following_copies(file, form, pages, index, *page);
    for (const uint64_t at : page->subdirectories) {
        if (const auto below = read_directory(file, form, at)) {
            found.push_back(*below);
        }
    }
    std::erase_if(found, [&](const Directory& copy) {
        return !is_copy_of(*page, copy) || copy.width < static_cast<uint64_t>(least.width) ||
               copy.height < static_cast<uint64_t>(least.height);
    });
    std::stable_sort(found.begin(), found.end(), [](const Directory& one, const Directory& other) {
        return one.width * one.height < other.width * other.height;
    });
    std::vector<ReducedCopy> copies;
    for (const Directory& copy : found) {
        copies.push_back({copy.at, {static_cast<int32_t>(copy.width), static_cast<int32_t>(copy.height)}});
    }
    return copies;
}

bool has_means(const PixelForm& form) {
    return form.bits >= 8 && form.color != ColorModel::kIndexed;
}

bool shows_the_same(const RowsHeader& copy, const RowsHeader& page) {
    const bool same_profile = copy.profile == nullptr || page.profile == nullptr ? copy.profile == page.profile
                                                                                 : *copy.profile == *page.profile;
    return copy.form == page.form && same_profile;
}

ReducedSides sides_in_copy(const RowsHeader& copy, const RowsHeader& page) {
    // Programs that halve leave out a last column or row that has no pair: the page is longer than the copy then.
    for (int32_t divisor = 2; divisor <= page.width / copy.width; divisor *= 2) {
        if (page.width / divisor == copy.width && page.height / divisor == copy.height) {
            return {static_cast<double>(page.width) / divisor, static_cast<double>(page.height) / divisor};
        }
    }
    return {static_cast<double>(copy.width), static_cast<double>(copy.height)};
}

}  // namespace zelmor::imagework
