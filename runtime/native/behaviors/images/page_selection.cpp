// Choosing pages; see page_selection.h.
#include "runtime/native/behaviors/images/page_selection.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

using api::ImageOptions::MultiPageMode;

// What can be asked of the pages of any image.
struct PageChoice {
    size_t count;
    std::function<int32_t(size_t)> duration;   // milliseconds
    std::function<std::string(size_t)> title;  // empty where the file gives the page none
    bool of_drawing;
};

std::vector<size_t> first_pages(size_t count) {
    std::vector<size_t> result(count);
    std::iota(result.begin(), result.end(), size_t{0});
    return result;
}

std::vector<size_t> numbered_pages(const PageChoice& pages, const ManagedObject& options) {
    const auto numbers = numbers_of(options, "Pages");
    if (!numbers) {
        return first_pages(pages.count);
    }
    std::vector<size_t> result;
    for (const int64_t number : *numbers) {
        if (number < 0 || static_cast<uint64_t>(number) >= pages.count) {
            throw_out_of_range("Pages", "The image has no page " + std::to_string(number) + "; its " +
                                            std::to_string(pages.count) + " pages are counted from 0.");
        }
        result.push_back(static_cast<size_t>(number));
    }
    return result;
}

// The frames that are to be seen at some time of the interval, which ends before its end.
std::vector<size_t> pages_in_time(const PageChoice& pages, const ManagedObject& options) {
    const Ref<ManagedObject> interval = property_object(options, "TimeInterval");
    if (!interval) {
        return first_pages(pages.count);
    }
    const int64_t from = property_int(*interval, "From");
    const int64_t to = property_int(*interval, "To");
    std::vector<size_t> result;
    int64_t starts = 0;
    for (size_t i = 0; i < pages.count; ++i) {
        const int64_t ends = starts + pages.duration(i);
        if (starts < to && ends > from) {
            result.push_back(i);
        }
        starts = ends;
    }
    return result;
}

// A choice that the mode does not look at.
[[noreturn]] void throw_beside_mode(const ManagedObject& options, const char* property, MultiPageMode mode) {
    throw_not_supported("A value of " + member_name(options, property) + " beside the mode " +
                        std::to_string(number_of(mode)) + " of MultiPageMode, which chooses otherwise,");
}

// The name that the file gives the page; empty where its format has none.
std::string title_of(const ImageObject& page) {
    const FormatMembers* members = members_of(page.facts().format);
    return members != nullptr && members->page_title != nullptr ? members->page_title(page.facts()) : std::string();
}

std::vector<size_t> titled_pages(const PageChoice& pages, const ManagedObject& options) {
    const Value& titles = property(options, "PageTitles");
    if (is_null(titles)) {
        throw_argument("The mode of titles needs MultiPageOptions.PageTitles. (Parameter 'PageTitles')");
    }
    const auto& list = cast_object<ManagedList>(*std::get<Ref<ManagedObject>>(titles));
    std::vector<size_t> result;
    for (size_t i = 0; i < list.size(); ++i) {
        const Value title = list.get(i);
        const auto* text = std::get_if<std::u16string>(&title);
        const std::string wanted = text != nullptr ? to_utf8(*text) : std::string();
        const size_t before = result.size();
        for (size_t page = 0; page < pages.count && !wanted.empty(); ++page) {
            if (pages.title(page) == wanted) {
                result.push_back(page);
            }
        }
        if (result.size() == before) {
            throw_argument("The image has no page with the title '" + wanted + "'. (Parameter 'PageTitles')");
        }
    }
    return result;
}

std::vector<size_t> selected(const PageChoice& pages, const ManagedObject& options) {
    require_effective_options(options, pages.of_drawing);
    const auto mode = property_enum<MultiPageMode>(options, "Mode");
    const bool by_number = mode == MultiPageMode::kPages || mode == MultiPageMode::kRange;
    if (!by_number && !is_null(property(options, "Pages"))) {
        throw_beside_mode(options, "Pages", mode);
    }
    if (mode != MultiPageMode::kTimeInterval && !is_null(property(options, "TimeInterval"))) {
        throw_beside_mode(options, "TimeInterval", mode);
    }
    if (mode != MultiPageMode::kTitles && !is_null(property(options, "PageTitles"))) {
        throw_beside_mode(options, "PageTitles", mode);
    }
    std::vector<size_t> result;
    switch (mode) {
        case MultiPageMode::kPages:
        case MultiPageMode::kRange:
            result = numbered_pages(pages, options);
            break;
        case MultiPageMode::kTimeInterval:
            result = pages_in_time(pages, options);
            break;
        case MultiPageMode::kTitles:
            result = titled_pages(pages, options);
            break;
        case MultiPageMode::kAllPages:
            result = first_pages(pages.count);
            break;
        default:
            throw_out_of_range("Mode", "The value of MultiPageOptions.Mode is not one of MultiPageMode.");
    }
    if (result.empty()) {
        throw_argument("The MultiPageOptions choose no page of the image.");
    }
    return result;
}

}  // namespace

std::vector<size_t> every_page(const ImageObject& image) {
    return first_pages(image.frame_count());
}

std::vector<size_t> selected_pages(ImageObject& image, const ManagedObject& options) {
    return selected({image.frame_count(), [&](size_t i) { return image.frames()[i]->duration; },
                     [&](size_t i) { return title_of(*image.frames()[i]); }, false},
                    options);
}

std::vector<size_t> selected_pages(VectorImageObject& image, const ManagedObject& options) {
    const std::vector<Ref<VectorImageObject>> pages = image.shown_pages();
    return selected({pages.size(), [](size_t) { return 0; }, [&](size_t i) { return pages[i]->title; }, true}, options);
}

std::optional<RectangleValue> export_area(const ManagedObject& options) {
    const Ref<ManagedObject> area = property_object(options, "ExportArea");
    if (!area) {
        return std::nullopt;
    }
    const auto value = unbox<RectangleValue>(*area);
    if (value == RectangleValue()) {
        return std::nullopt;
    }
    return value;
}

std::vector<Page> pages_of(ImageObject& image, const std::vector<size_t>& indices) {
    std::vector<Page> pages;
    if (image.frame_count() == 1) {
        for (size_t i = 0; i < indices.size(); ++i) {
            pages.push_back({image.picture().copy(), image.duration, Ref<ImageObject>(&image)});
        }
        return pages;
    }
    const FrameRange frames = image.frames();
    for (const size_t index : indices) {
        const Ref<ImageObject> frame = frames[index];
        pages.push_back({frame->picture().copy(), frame->duration, frame});
    }
    return pages;
}

void fit_to_canvas(std::vector<Page>& pages) {
    int64_t width = 0;
    int64_t height = 0;
    int pixel_bytes = sizeof(imagework::Argb);  // where frames are laid over each other there are colors with alpha
    for (const Page& page : pages) {
        pixel_bytes = std::max(pixel_bytes, static_cast<int>(page.picture->form().pixel_size()));
        width = std::max(width, int64_t{page.source->left} + page.picture->width());
        height = std::max(height, int64_t{page.source->top} + page.picture->height());
    }
    imagework::check_picture_size(width, height, pixel_bytes);
    const auto canvas_width = static_cast<int32_t>(width);
    const auto canvas_height = static_cast<int32_t>(height);
    std::unique_ptr<imagework::Picture> before;  // the canvas before the page
    for (Page& page : pages) {
        const int32_t left = page.source->left;
        const int32_t top = page.source->top;
        const imagework::Rect area{left, top, page.picture->width(), page.picture->height()};
        const bool covers = left == 0 && top == 0 && area.width == width && area.height == height;
        const bool blends = page.source->blends.value_or(!covers);
        if (!covers || (blends && before && page.picture->has_alpha())) {
            auto canvas = before ? before->copy() : page.picture->copy();
            if (!before) {
                canvas->add_alpha();
                canvas->replace_area({0, 0, canvas->width(), canvas->height()}, 0);
                canvas->place(canvas_width, canvas_height, 0, 0, 0);
            }
            if (!blends) {
                canvas->add_alpha();
                canvas->replace_area(area, 0);
            }
            canvas->draw(*page.picture, left, top);
            page.picture = std::move(canvas);
        }
        const auto disposal =
            page.source->gif.part ? imagework::gif_disposal(page.source->gif.control.disposal) : page.source->disposal;
        if (disposal == imagework::FrameDisposal::kRestore && before) {
            continue;
        }
        before = page.picture->copy();
        if (disposal == imagework::FrameDisposal::kClear || disposal == imagework::FrameDisposal::kRestore) {
            before->add_alpha();
            before->replace_area(area, 0);
        }
    }
}

void merge(std::vector<Page>& pages) {
    fit_to_canvas(pages);
    for (size_t i = 1; i < pages.size(); ++i) {
        pages[0].picture->draw(*pages[i].picture, 0, 0);
    }
    pages.resize(1);
}

}  // namespace zelmor::embed
