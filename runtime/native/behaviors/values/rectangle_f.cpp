// RectangleF: members, text and hash.
#include <algorithm>

#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

std::u16string text_of(const RectangleFValue& value) {
    return u"{X=" + number_text(value.x) + u",Y=" + number_text(value.y) + u",Width=" + number_text(value.width) +
           u",Height=" + number_text(value.height) + u"}";
}
int32_t hash_of(const RectangleFValue& value) {
    return combined_hash(float_word(value.x), float_word(value.y), float_word(value.width), float_word(value.height));
}

namespace {

float right(const RectangleFValue& r) {
    return r.x + r.width;
}
float bottom(const RectangleFValue& r) {
    return r.y + r.height;
}

RectangleFValue from_numbers(float x, float y, float width, float height) {
    return {x, y, width, height};
}
RectangleFValue from_parts(const PointFValue& location, const SizeFValue& size) {
    return {location.x, location.y, size.width, size.height};
}
RectangleFValue empty() {
    return {};
}

RectangleFValue from_edges(float left, float top, float right, float bottom) {
    return {left, top, right - left, bottom - top};
}
// Two corners in any order.
RectangleFValue from_points(const PointFValue& a, const PointFValue& b) {
    return from_edges(std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y));
}

RectangleFValue inflated(const RectangleFValue& r, float x, float y) {
    return {r.x - x, r.y - y, r.width + 2 * x, r.height + 2 * y};
}
void inflate(RectangleFValue& self, float x, float y) {
    self = inflated(self, x, y);
}
void inflate_by(RectangleFValue& self, const SizeFValue& size) {
    inflate(self, size.width, size.height);
}

RectangleFValue intersected(const RectangleFValue& a, const RectangleFValue& b) {
    const float x1 = std::max(a.x, b.x), x2 = std::min(right(a), right(b));
    const float y1 = std::max(a.y, b.y), y2 = std::min(bottom(a), bottom(b));
    return x2 >= x1 && y2 >= y1 ? from_edges(x1, y1, x2, y2) : RectangleFValue();
}
void intersect(RectangleFValue& self, const RectangleFValue& other) {
    self = intersected(self, other);
}

RectangleFValue united(const RectangleFValue& a, const RectangleFValue& b) {
    return from_edges(std::min(a.x, b.x), std::min(a.y, b.y), std::max(right(a), right(b)),
                      std::max(bottom(a), bottom(b)));
}

bool contains_xy(RectangleFValue& self, float x, float y) {
    return self.x <= x && x < right(self) && self.y <= y && y < bottom(self);
}
bool contains_point(RectangleFValue& self, const PointFValue& point) {
    return contains_xy(self, point.x, point.y);
}
bool contains(RectangleFValue& self, const RectangleFValue& other) {
    return self.x <= other.x && right(other) <= right(self) && self.y <= other.y && bottom(other) <= bottom(self);
}
bool intersects_with(RectangleFValue& self, const RectangleFValue& other) {
    return other.x < right(self) && self.x < right(other) && other.y < bottom(self) && self.y < bottom(other);
}

void offset(RectangleFValue& self, float x, float y) {
    self.x += x;
    self.y += y;
}
void offset_by(RectangleFValue& self, const PointFValue& by) {
    offset(self, by.x, by.y);
}

// A negative width or height becomes a positive one of the same area.
void normalize(RectangleFValue& self) {
    if (self.width < 0) {
        self.x += self.width;
        self.width = -self.width;
    }
    if (self.height < 0) {
        self.y += self.height;
        self.height = -self.height;
    }
}

PointFValue get_location(RectangleFValue& self) {
    return {self.x, self.y};
}
void set_location(RectangleFValue& self, const PointFValue& location) {
    self.x = location.x;
    self.y = location.y;
}
SizeFValue get_size(RectangleFValue& self) {
    return {self.width, self.height};
}
void set_size(RectangleFValue& self, const SizeFValue& size) {
    self.width = size.width;
    self.height = size.height;
}
float get_x(RectangleFValue& self) {
    return self.x;
}
void set_x(RectangleFValue& self, float x) {
    self.x = x;
}
float get_y(RectangleFValue& self) {
    return self.y;
}
void set_y(RectangleFValue& self, float y) {
    self.y = y;
}
float get_width(RectangleFValue& self) {
    return self.width;
}
void set_width(RectangleFValue& self, float width) {
    self.width = width;
}
float get_height(RectangleFValue& self) {
    return self.height;
}
void set_height(RectangleFValue& self, float height) {
    self.height = height;
}

// Setting an edge moves that edge alone; the opposite one stays.
float get_right(RectangleFValue& self) {
    return right(self);
}
void set_right(RectangleFValue& self, float edge) {
    self.width = edge - self.x;
}
float get_bottom(RectangleFValue& self) {
    return bottom(self);
}
void set_bottom(RectangleFValue& self, float edge) {
    self.height = edge - self.y;
}
void set_left(RectangleFValue& self, float edge) {
    self = from_edges(edge, self.y, right(self), bottom(self));
}
void set_top(RectangleFValue& self, float edge) {
    self = from_edges(self.x, edge, right(self), bottom(self));
}

bool is_empty(RectangleFValue& self) {
    return self.width <= 0 || self.height <= 0;
}

constexpr const char* kRectangleF = "Zelmor.Imaging.RectangleF";
const Behavior kMembers[] = {
    {kRectangleF, "ctor_000_RectangleF", entry<&from_numbers>()},
    {kRectangleF, "ctor_001_RectangleF", entry<&from_parts>()},
    {kRectangleF, "ctor_002_RectangleF", entry<&empty>()},
    {kRectangleF, "call_000_FromPoints", entry<&from_points>()},
    {kRectangleF, "call_000_Inflate", entry<&inflated>()},
    {kRectangleF, "call_001_Inflate", entry<&inflate_by>()},
    {kRectangleF, "call_002_Inflate", entry<&inflate>()},
    {kRectangleF, "call_000_Intersect", entry<&intersected>()},
    {kRectangleF, "call_001_Intersect", entry<&intersect>()},
    {kRectangleF, "call_000_InflateRect", entry<&inflated>()},
    {kRectangleF, "call_000_IntersectRects", entry<&intersected>()},
    {kRectangleF, "call_000_Union", entry<&united>()},
    {kRectangleF, "call_000_FromLeftTopRightBottom", entry<&from_edges>()},
    {kRectangleF, "call_000_Contains", entry<&contains_xy>()},
    {kRectangleF, "call_001_Contains", entry<&contains_point>()},
    {kRectangleF, "call_002_Contains", entry<&contains>()},
    {kRectangleF, "call_000_Offset", entry<&offset_by>()},
    {kRectangleF, "call_001_Offset", entry<&offset>()},
    {kRectangleF, "call_000_Normalize", entry<&normalize>()},
    {kRectangleF, "call_000_ContainsPointF", entry<&contains_point>()},
    {kRectangleF, "call_000_ContainsRectF", entry<&contains>()},
    {kRectangleF, "call_000_IntersectsWith", entry<&intersects_with>()},
    {kRectangleF, "get_Location", entry<&get_location>()},
    {kRectangleF, "set_Location", entry<&set_location>()},
    {kRectangleF, "get_Size", entry<&get_size>()},
    {kRectangleF, "set_Size", entry<&set_size>()},
    {kRectangleF, "get_X", entry<&get_x>()},
    {kRectangleF, "set_X", entry<&set_x>()},
    {kRectangleF, "get_Y", entry<&get_y>()},
    {kRectangleF, "set_Y", entry<&set_y>()},
    {kRectangleF, "get_Width", entry<&get_width>()},
    {kRectangleF, "set_Width", entry<&set_width>()},
    {kRectangleF, "get_Height", entry<&get_height>()},
    {kRectangleF, "set_Height", entry<&set_height>()},
    {kRectangleF, "get_Left", entry<&get_x>()},
    {kRectangleF, "set_Left", entry<&set_left>()},
    {kRectangleF, "get_Top", entry<&get_y>()},
    {kRectangleF, "set_Top", entry<&set_top>()},
    {kRectangleF, "get_Right", entry<&get_right>()},
    {kRectangleF, "set_Right", entry<&set_right>()},
    {kRectangleF, "get_Bottom", entry<&get_bottom>()},
    {kRectangleF, "set_Bottom", entry<&set_bottom>()},
    {kRectangleF, "get_IsEmpty", entry<&is_empty>()},
    {kRectangleF, "getsa_Empty", entry<&empty>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

const FactoryRegistration factory(kRectangleF, [](const TypeInfo&) { return box(RectangleFValue()); });

}  // namespace

}  // namespace zelmor::embed
