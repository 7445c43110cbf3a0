// Marks that go where the pixels go; see marks.h.
#include "runtime/native/behaviors/images/marks.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "runtime/native/behaviors/images/format_members.h"

namespace zelmor::embed {

using drawwork::PointD;

namespace {

// The nearest pixel of the frame.
MarkedPixel nearest(PointD p, const FrameSizes& sizes) {
    const auto whole = [](double at, int32_t length) {
        return static_cast<int32_t>(std::clamp(std::round(at), 0.0, std::max(0.0, length - 1.0)));
    };
    return {whole(p.x, sizes.new_width), whole(p.y, sizes.new_height)};
}

}  // namespace

void change_places(ImageObject& image, const PictureChange& step, const MarkMap& map) {
    const FormatMembers* members = members_of(image.facts().format);
    if (members == nullptr || members->move_mark == nullptr) {
        return image.change(step);
    }
    std::vector<std::pair<int32_t, int32_t>> sizes;
    for (const Ref<ImageObject>& frame : image.frames()) {
        sizes.emplace_back(frame->picture().width(), frame->picture().height());
    }
    image.change(step);
    size_t index = 0;
    for (const Ref<ImageObject>& frame : image.frames()) {
        const auto [width, height] = sizes[index++];
        const FrameSizes both{width, height, frame->picture().width(), frame->picture().height()};
        const auto moved = [&](MarkedPixel pixel) {
            return nearest(map({double(pixel.x), double(pixel.y)}, both), both);
        };
        members->move_mark(frame->facts(), moved);
        if (sizes.size() == 1 && frame.get() != &image) {
            members->move_mark(image.facts(), moved);
        }
    }
}

MarkMap around_middles(const drawwork::Affine& map) {
    return [map](PointD pixel, const FrameSizes& sizes) {
        const PointD p = map.apply({pixel.x - (sizes.width - 1) / 2.0, pixel.y - (sizes.height - 1) / 2.0});
        return PointD{p.x + (sizes.new_width - 1) / 2.0, p.y + (sizes.new_height - 1) / 2.0};
    };
}

MarkMap moved_by(double x, double y) {
    return [x, y](PointD pixel, const FrameSizes&) { return PointD{pixel.x + x, pixel.y + y}; };
}

}  // namespace zelmor::embed
