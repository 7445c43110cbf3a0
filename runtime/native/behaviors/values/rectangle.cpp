// Rectangle: members, text and hash. A rectangle holds its left and top edge, and not its right and bottom one.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

std::u16string text_of(const RectangleValue& value) {
    return u"{X=" + number_text(int64_t{value.x}) + u",Y=" + number_text(int64_t{value.y}) + u",Width=" +
           number_text(int64_t{value.width}) + u",Height=" + number_text(int64_t{value.height}) + u"}";
}
int32_t hash_of(const RectangleValue& value) {
    return combined_hash(value.x, value.y, value.width, value.height);
}

namespace {

int32_t right(const RectangleValue& r) {
    return wrapping_add(r.x, r.width);
}
int32_t bottom(const RectangleValue& r) {
    return wrapping_add(r.y, r.height);
}

RectangleValue from_numbers(int32_t x, int32_t y, int32_t width, int32_t height) {
    return {x, y, width, height};
}
RectangleValue from_parts(const PointValue& location, const SizeValue& size) {
    return {location.x, location.y, size.width, size.height};
}
RectangleValue empty() {
    return {};
}

RectangleValue from_edges(int32_t left, int32_t top, int32_t right, int32_t bottom) {
    return {left, top, wrapping_subtract(right, left), wrapping_subtract(bottom, top)};
}
// Two corners in any order.
RectangleValue from_points(const PointValue& a, const PointValue& b) {
    return from_edges(std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y));
}

template <int32_t (*Rounded)(float)>
RectangleValue rounded(const RectangleFValue& r) {
    return {Rounded(r.x), Rounded(r.y), Rounded(r.width), Rounded(r.height)};
}

RectangleValue inflated(const RectangleValue& r, int32_t x, int32_t y) {
    return {wrapping_subtract(r.x, x), wrapping_subtract(r.y, y), wrapping_add(r.width, wrapping_add(x, x)),
            wrapping_add(r.height, wrapping_add(y, y))};
}
void inflate(RectangleValue& self, int32_t width, int32_t height) {
    self = inflated(self, width, height);
}
void inflate_by(RectangleValue& self, const SizeValue& size) {
    inflate(self, size.width, size.height);
}

RectangleValue intersected(const RectangleValue& a, const RectangleValue& b) {
    const int32_t x1 = std::max(a.x, b.x), x2 = std::min(right(a), right(b));
    const int32_t y1 = std::max(a.y, b.y), y2 = std::min(bottom(a), bottom(b));
    return x2 >= x1 && y2 >= y1 ? from_edges(x1, y1, x2, y2) : RectangleValue();
}
void intersect(RectangleValue& self, const RectangleValue& other) {
    self = intersected(self, other);
}

RectangleValue united(const RectangleValue& a, const RectangleValue& b) {
    return from_edges(std::min(a.x, b.x), std::min(a.y, b.y), std::max(right(a), right(b)),
                      std::max(bottom(a), bottom(b)));
}

bool contains_xy(RectangleValue& self, int32_t x, int32_t y) {
    return self.x <= x && x < right(self) && self.y <= y && y < bottom(self);
}
bool contains_point(RectangleValue& self, const PointValue& point) {
    return contains_xy(self, point.x, point.y);
}
bool contains(RectangleValue& self, const RectangleValue& other) {
    return self.x <= other.x && right(other) <= right(self) && self.y <= other.y && bottom(other) <= bottom(self);
}
bool intersects_with(RectangleValue& self, const RectangleValue& other) {
    return other.x < right(self) && self.x < right(other) && other.y < bottom(self) && self.y < bottom(other);
}

void offset(RectangleValue& self, int32_t x, int32_t y) {
    self.x = wrapping_add(self.x, x);
    self.y = wrapping_add(self.y, y);
}
void offset_by(RectangleValue& self, const PointValue& by) {
    offset(self, by.x, by.y);
}

// A negative width or height becomes a positive one of the same area.
void normalize(RectangleValue& self) {
    if (self.width < 0) {
        self.x = right(self);
        self.width = wrapping_subtract(0, self.width);
    }
    if (self.height < 0) {
        self.y = bottom(self);
        self.height = wrapping_subtract(0, self.height);
    }
}

PointValue get_location(RectangleValue& self) {
    return {self.x, self.y};
}
void set_location(RectangleValue& self, const PointValue& location) {
    self.x = location.x;
    self.y = location.y;
}
SizeValue get_size(RectangleValue& self) {
    return {self.width, self.height};
}
void set_size(RectangleValue& self, const SizeValue& size) {
    self.width = size.width;
    self.height = size.height;
}
int32_t get_x(RectangleValue& self) {
    return self.x;
}
void set_x(RectangleValue& self, int32_t x) {
    self.x = x;
}
int32_t get_y(RectangleValue& self) {
    return self.y;
}
void set_y(RectangleValue& self, int32_t y) {
    self.y = y;
}
int32_t get_width(RectangleValue& self) {
    return self.width;
}
void set_width(RectangleValue& self, int32_t width) {
    self.width = width;
}
int32_t get_height(RectangleValue& self) {
    return self.height;
}
void set_height(RectangleValue& self, int32_t height) {
    self.height = height;
}

// Setting an edge moves that edge alone; the opposite one stays.
int32_t get_right(RectangleValue& self) {
    return right(self);
}
void set_right(RectangleValue& self, int32_t edge) {
    self.width = wrapping_subtract(edge, self.x);
}
int32_t get_bottom(RectangleValue& self) {
    return bottom(self);
}
void set_bottom(RectangleValue& self, int32_t edge) {
    self.height = wrapping_subtract(edge, self.y);
}
void set_left(RectangleValue& self, int32_t edge) {
    self = from_edges(edge, self.y, right(self), bottom(self));
}
void set_top(RectangleValue& self, int32_t edge) {
    self = from_edges(self.x, edge, right(self), bottom(self));
}

bool is_empty(RectangleValue& self) {
    return self == RectangleValue();
}

constexpr const char* kRectangle = "Zelmor.Imaging.Rectangle";
using RectangleApi = api::Rectangle;

const BehaviorTable table({
    behavior<&from_numbers, RectangleApi::ctor_000_Rectangle>(),
    behavior<&from_parts, RectangleApi::ctor_001_Rectangle>(),
    behavior<&empty, RectangleApi::ctor_002_Rectangle, RectangleApi::getsa_Empty>(),
    behavior<&from_points, RectangleApi::call_000_FromPoints>(),
    behavior<&rounded<ceiling_to_int32>, RectangleApi::call_000_Ceiling>(),
    behavior<&rounded<truncate_to_int32>, RectangleApi::call_000_Truncate>(),
    behavior<&rounded<round_to_int32>, RectangleApi::call_000_Round>(),
    behavior<&inflated, RectangleApi::call_000_Inflate, RectangleApi::call_000_InflateRect>(),
    behavior<&inflate_by, RectangleApi::call_001_Inflate>(),
    behavior<&inflate, RectangleApi::call_002_Inflate>(),
    behavior<&intersected, RectangleApi::call_000_Intersect, RectangleApi::call_000_IntersectRects>(),
    behavior<&intersect, RectangleApi::call_001_Intersect>(),
    behavior<&united, RectangleApi::call_000_Union>(),
    behavior<&from_edges, RectangleApi::call_000_FromLeftTopRightBottom>(),
    behavior<&contains_xy, RectangleApi::call_000_Contains>(),
    behavior<&contains_point, RectangleApi::call_001_Contains, RectangleApi::call_000_ContainsPoint>(),
    behavior<&contains, RectangleApi::call_002_Contains, RectangleApi::call_000_ContainsRect>(),
    behavior<&offset_by, RectangleApi::call_000_Offset>(),
    behavior<&offset, RectangleApi::call_001_Offset>(),
    behavior<&intersects_with, RectangleApi::call_000_IntersectsWith>(),
    behavior<&normalize, RectangleApi::call_000_Normalize>(),
    behavior<&get_location, RectangleApi::get_Location>(),
    behavior<&set_location, RectangleApi::set_Location>(),
    behavior<&get_size, RectangleApi::get_Size>(),
    behavior<&set_size, RectangleApi::set_Size>(),
    behavior<&get_x, RectangleApi::get_X, RectangleApi::get_Left>(),
    behavior<&set_x, RectangleApi::set_X>(),
    behavior<&get_y, RectangleApi::get_Y, RectangleApi::get_Top>(),
    behavior<&set_y, RectangleApi::set_Y>(),
    behavior<&get_width, RectangleApi::get_Width>(),
    behavior<&set_width, RectangleApi::set_Width>(),
    behavior<&get_height, RectangleApi::get_Height>(),
    behavior<&set_height, RectangleApi::set_Height>(),
    behavior<&set_left, RectangleApi::set_Left>(),
    behavior<&set_top, RectangleApi::set_Top>(),
    behavior<&get_right, RectangleApi::get_Right>(),
    behavior<&set_right, RectangleApi::set_Right>(),
    behavior<&get_bottom, RectangleApi::get_Bottom>(),
    behavior<&set_bottom, RectangleApi::set_Bottom>(),
    behavior<&is_empty, RectangleApi::get_IsEmpty>(),
});

const FactoryRegistration factory(kRectangle, [](const TypeInfo&) { return box(RectangleValue()); });

const ConversionRegistration to_rectangle_f(kRectangle, StructTraits<RectangleFValue>::kName, [](ManagedObject& r) {
    const auto& value = unbox<RectangleValue>(r);
    return box(RectangleFValue{static_cast<float>(value.x), static_cast<float>(value.y),
                               static_cast<float>(value.width), static_cast<float>(value.height)});
});

}  // namespace

}  // namespace zelmor::embed
