// Rectangle: members, text and hash. A rectangle holds its left and top edge, and not its right and bottom one.
#include <algorithm>

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
const Behavior kMembers[] = {
    {kRectangle, "ctor_000_Rectangle", entry<&from_numbers>()},
    {kRectangle, "ctor_001_Rectangle", entry<&from_parts>()},
    {kRectangle, "ctor_002_Rectangle", entry<&empty>()},
    {kRectangle, "call_000_FromPoints", entry<&from_points>()},
    {kRectangle, "call_000_Ceiling", entry<&rounded<ceiling_to_int32>>()},
    {kRectangle, "call_000_Truncate", entry<&rounded<truncate_to_int32>>()},
    {kRectangle, "call_000_Round", entry<&rounded<round_to_int32>>()},
    {kRectangle, "call_000_Inflate", entry<&inflated>()},
    {kRectangle, "call_001_Inflate", entry<&inflate_by>()},
    {kRectangle, "call_002_Inflate", entry<&inflate>()},
    {kRectangle, "call_000_Intersect", entry<&intersected>()},
    {kRectangle, "call_001_Intersect", entry<&intersect>()},
    {kRectangle, "call_000_InflateRect", entry<&inflated>()},
    {kRectangle, "call_000_IntersectRects", entry<&intersected>()},
    {kRectangle, "call_000_Union", entry<&united>()},
    {kRectangle, "call_000_FromLeftTopRightBottom", entry<&from_edges>()},
    {kRectangle, "call_000_Contains", entry<&contains_xy>()},
    {kRectangle, "call_001_Contains", entry<&contains_point>()},
    {kRectangle, "call_002_Contains", entry<&contains>()},
    {kRectangle, "call_000_Offset", entry<&offset_by>()},
    {kRectangle, "call_001_Offset", entry<&offset>()},
    {kRectangle, "call_000_ContainsPoint", entry<&contains_point>()},
    {kRectangle, "call_000_ContainsRect", entry<&contains>()},
    {kRectangle, "call_000_IntersectsWith", entry<&intersects_with>()},
    {kRectangle, "call_000_Normalize", entry<&normalize>()},
    {kRectangle, "get_Location", entry<&get_location>()},
    {kRectangle, "set_Location", entry<&set_location>()},
    {kRectangle, "get_Size", entry<&get_size>()},
    {kRectangle, "set_Size", entry<&set_size>()},
    {kRectangle, "get_X", entry<&get_x>()},
    {kRectangle, "set_X", entry<&set_x>()},
    {kRectangle, "get_Y", entry<&get_y>()},
    {kRectangle, "set_Y", entry<&set_y>()},
    {kRectangle, "get_Width", entry<&get_width>()},
    {kRectangle, "set_Width", entry<&set_width>()},
    {kRectangle, "get_Height", entry<&get_height>()},
    {kRectangle, "set_Height", entry<&set_height>()},
    {kRectangle, "get_Left", entry<&get_x>()},
    {kRectangle, "set_Left", entry<&set_left>()},
    {kRectangle, "get_Top", entry<&get_y>()},
    {kRectangle, "set_Top", entry<&set_top>()},
    {kRectangle, "get_Right", entry<&get_right>()},
    {kRectangle, "set_Right", entry<&set_right>()},
    {kRectangle, "get_Bottom", entry<&get_bottom>()},
    {kRectangle, "set_Bottom", entry<&set_bottom>()},
    {kRectangle, "get_IsEmpty", entry<&is_empty>()},
    {kRectangle, "getsa_Empty", entry<&empty>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

const FactoryRegistration factory(kRectangle, [](const TypeInfo&) { return box(RectangleValue()); });

const ConversionRegistration to_rectangle_f(kRectangle, StructTraits<RectangleFValue>::kName, [](ManagedObject& r) {
    const auto& value = unbox<RectangleValue>(r);
    return box(RectangleFValue{static_cast<float>(value.x), static_cast<float>(value.y),
                               static_cast<float>(value.width), static_cast<float>(value.height)});
});

}  // namespace

}  // namespace zelmor::embed
