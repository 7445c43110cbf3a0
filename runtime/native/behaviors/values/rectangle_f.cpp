// RectangleF: members, text and hash.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
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
using RectangleFApi = api::RectangleF;

const BehaviorTable table({
    behavior<&from_numbers, RectangleFApi::ctor_000_RectangleF>(),
    behavior<&from_parts, RectangleFApi::ctor_001_RectangleF>(),
    behavior<&empty, RectangleFApi::ctor_002_RectangleF, RectangleFApi::getsa_Empty>(),
    behavior<&from_points, RectangleFApi::call_000_FromPoints>(),
    behavior<&inflated, RectangleFApi::call_000_Inflate, RectangleFApi::call_000_InflateRect>(),
    behavior<&inflate_by, RectangleFApi::call_001_Inflate>(),
    behavior<&inflate, RectangleFApi::call_002_Inflate>(),
    behavior<&intersected, RectangleFApi::call_000_Intersect, RectangleFApi::call_000_IntersectRects>(),
    behavior<&intersect, RectangleFApi::call_001_Intersect>(),
    behavior<&united, RectangleFApi::call_000_Union>(),
    behavior<&from_edges, RectangleFApi::call_000_FromLeftTopRightBottom>(),
    behavior<&contains_xy, RectangleFApi::call_000_Contains>(),
    behavior<&contains_point, RectangleFApi::call_001_Contains, RectangleFApi::call_000_ContainsPointF>(),
    behavior<&contains, RectangleFApi::call_002_Contains, RectangleFApi::call_000_ContainsRectF>(),
    behavior<&offset_by, RectangleFApi::call_000_Offset>(),
    behavior<&offset, RectangleFApi::call_001_Offset>(),
    behavior<&normalize, RectangleFApi::call_000_Normalize>(),
    behavior<&intersects_with, RectangleFApi::call_000_IntersectsWith>(),
    behavior<&get_location, RectangleFApi::get_Location>(),
    behavior<&set_location, RectangleFApi::set_Location>(),
    behavior<&get_size, RectangleFApi::get_Size>(),
    behavior<&set_size, RectangleFApi::set_Size>(),
    behavior<&get_x, RectangleFApi::get_X, RectangleFApi::get_Left>(),
    behavior<&set_x, RectangleFApi::set_X>(),
    behavior<&get_y, RectangleFApi::get_Y, RectangleFApi::get_Top>(),
    behavior<&set_y, RectangleFApi::set_Y>(),
    behavior<&get_width, RectangleFApi::get_Width>(),
    behavior<&set_width, RectangleFApi::set_Width>(),
    behavior<&get_height, RectangleFApi::get_Height>(),
    behavior<&set_height, RectangleFApi::set_Height>(),
    behavior<&set_left, RectangleFApi::set_Left>(),
    behavior<&set_top, RectangleFApi::set_Top>(),
    behavior<&get_right, RectangleFApi::get_Right>(),
    behavior<&set_right, RectangleFApi::set_Right>(),
    behavior<&get_bottom, RectangleFApi::get_Bottom>(),
    behavior<&set_bottom, RectangleFApi::set_Bottom>(),
    behavior<&is_empty, RectangleFApi::get_IsEmpty>(),
});

const FactoryRegistration factory(kRectangleF, [](const TypeInfo&) { return box(RectangleFValue()); });

}  // namespace

}  // namespace zelmor::embed
