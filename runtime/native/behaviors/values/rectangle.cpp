// Rectangle and RectangleF: members, text, hash and conversions.
//
// A rectangle contains its left and top edge, but not its right and bottom one.
#include <type_traits>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/geometry.h"
#include "runtime/native/behaviors/values/hashing.h"
#include "runtime/native/behaviors/values/rounding.h"
#include "runtime/native/core/conversions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

template <class Number>
struct RectangleMembers {
    using Point = typename Geometry<Number>::Point;
    using Size = typename Geometry<Number>::Size;
    using Rectangle = typename Geometry<Number>::Rectangle;

    static std::u16string text(const Rectangle& r) {
        return u"{X=" + coordinate_text(r.x) + u",Y=" + coordinate_text(r.y) + u",Width=" + coordinate_text(r.width) +
               u",Height=" + coordinate_text(r.height) + u"}";
    }
    static int32_t hash(const Rectangle& r) {
        return combined_hash(hash_word(r.x), hash_word(r.y), hash_word(r.width), hash_word(r.height));
    }

    static Number right_of(const Rectangle& r) { return sum(r.x, r.width); }
    static Number bottom_of(const Rectangle& r) { return sum(r.y, r.height); }

    // ---- Making rectangles

    static Rectangle from_numbers(Number x, Number y, Number width, Number height) { return {x, y, width, height}; }
    static Rectangle from_parts(const Point& location, const Size& size) {
        return {location.x, location.y, size.width, size.height};
    }
    static Rectangle empty() { return {}; }
    static Rectangle from_edges(Number left, Number top, Number right, Number bottom) {
        return {left, top, difference(right, left), difference(bottom, top)};
    }
    // Two corners in any order.
    static Rectangle from_points(const Point& a, const Point& b) {
        return from_edges(least(a.x, b.x), least(a.y, b.y), greatest(a.x, b.x), greatest(a.y, b.y));
    }

    // ---- Rectangles from others

    static Rectangle inflated(const Rectangle& r, Number x, Number y) {
        return {difference(r.x, x), difference(r.y, y), sum(r.width, sum(x, x)), sum(r.height, sum(y, y))};
    }
    static void inflate(Rectangle& self, Number width, Number height) { self = inflated(self, width, height); }
    static void inflate_by(Rectangle& self, const Size& size) { inflate(self, size.width, size.height); }

    static Rectangle intersected(const Rectangle& a, const Rectangle& b) {
        const Number x1 = greatest(a.x, b.x), x2 = least(right_of(a), right_of(b));
        const Number y1 = greatest(a.y, b.y), y2 = least(bottom_of(a), bottom_of(b));
        return x2 >= x1 && y2 >= y1 ? from_edges(x1, y1, x2, y2) : Rectangle();
    }
    static void intersect(Rectangle& self, const Rectangle& other) { self = intersected(self, other); }

    static Rectangle united(const Rectangle& a, const Rectangle& b) {
        return from_edges(least(a.x, b.x), least(a.y, b.y), greatest(right_of(a), right_of(b)),
                          greatest(bottom_of(a), bottom_of(b)));
    }

    static void offset(Rectangle& self, Number x, Number y) {
        self.x = sum(self.x, x);
        self.y = sum(self.y, y);
    }
    static void offset_by(Rectangle& self, const Point& by) { offset(self, by.x, by.y); }

    // A negative width or height becomes a positive one of the same area.
    static void normalize(Rectangle& self) {
        if (self.width < 0) {
            self.x = right_of(self);
            self.width = difference(Number(0), self.width);
        }
        if (self.height < 0) {
            self.y = bottom_of(self);
            self.height = difference(Number(0), self.height);
        }
    }

    // ---- Questions

    static bool contains_xy(Rectangle& self, Number x, Number y) {
        return self.x <= x && x < right_of(self) && self.y <= y && y < bottom_of(self);
    }
    static bool contains_point(Rectangle& self, const Point& point) { return contains_xy(self, point.x, point.y); }
    static bool contains(Rectangle& self, const Rectangle& other) {
        return self.x <= other.x && right_of(other) <= right_of(self) && self.y <= other.y &&
               bottom_of(other) <= bottom_of(self);
    }
    static bool intersects_with(Rectangle& self, const Rectangle& other) {
        return other.x < right_of(self) && self.x < right_of(other) && other.y < bottom_of(self) &&
               self.y < bottom_of(other);
    }
    // One of whole numbers is empty when all of them are zero, the other one when it has no area.
    static bool is_empty(Rectangle& self) {
        if constexpr (std::is_integral_v<Number>) {
            return self == Rectangle();
        } else {
            return self.width <= 0 || self.height <= 0;
        }
    }

    // ---- Properties

    static Point get_location(Rectangle& self) { return {self.x, self.y}; }
    static void set_location(Rectangle& self, const Point& location) {
        self.x = location.x;
        self.y = location.y;
    }
    static Size get_size(Rectangle& self) { return {self.width, self.height}; }
    static void set_size(Rectangle& self, const Size& size) {
        self.width = size.width;
        self.height = size.height;
    }

    // Setting an edge moves that edge alone; the opposite one stays.
    static Number get_left(Rectangle& self) { return self.x; }
    static void set_left(Rectangle& self, Number edge) {
        self = from_edges(edge, self.y, right_of(self), bottom_of(self));
    }
    static Number get_top(Rectangle& self) { return self.y; }
    static void set_top(Rectangle& self, Number edge) {
        self = from_edges(self.x, edge, right_of(self), bottom_of(self));
    }
    static Number get_right(Rectangle& self) { return right_of(self); }
    static void set_right(Rectangle& self, Number edge) { self.width = difference(edge, self.x); }
    static Number get_bottom(Rectangle& self) { return bottom_of(self); }
    static void set_bottom(Rectangle& self, Number edge) { self.height = difference(edge, self.y); }
};

template <class Number, class Api>
BehaviorTable rectangle_members() {
    using Members = RectangleMembers<Number>;
    using Rectangle = typename Members::Rectangle;
    return BehaviorTable({
        behavior<&Members::empty, Api::getsa_Empty>(),
        behavior<&Members::from_points, Api::call_000_FromPoints>(),
        behavior<&Members::from_edges, Api::call_000_FromLeftTopRightBottom>(),
        behavior<&Members::inflated, Api::call_000_Inflate, Api::call_000_InflateRect>(),
        behavior<&Members::inflate_by, Api::call_001_Inflate>(),
        behavior<&Members::inflate, Api::call_002_Inflate>(),
        behavior<&Members::intersected, Api::call_000_Intersect, Api::call_000_IntersectRects>(),
        behavior<&Members::intersect, Api::call_001_Intersect>(),
        behavior<&Members::united, Api::call_000_Union>(),
        behavior<&Members::contains_xy, Api::call_000_Contains>(),
        behavior<&Members::contains_point, Api::call_001_Contains>(),
        behavior<&Members::contains, Api::call_002_Contains>(),
        behavior<&Members::offset_by, Api::call_000_Offset>(),
        behavior<&Members::offset, Api::call_001_Offset>(),
        behavior<&Members::intersects_with, Api::call_000_IntersectsWith>(),
        behavior<&Members::normalize, Api::call_000_Normalize>(),
        behavior<&Members::is_empty, Api::get_IsEmpty>(),
        property<&Members::get_location, &Members::set_location, Api::property_Location>(),
        property<&Members::get_size, &Members::set_size, Api::property_Size>(),
        field<&Rectangle::x, Api::property_X>(),
        field<&Rectangle::y, Api::property_Y>(),
        field<&Rectangle::width, Api::property_Width>(),
        field<&Rectangle::height, Api::property_Height>(),
        property<&Members::get_left, &Members::set_left, Api::property_Left>(),
        property<&Members::get_top, &Members::set_top, Api::property_Top>(),
        property<&Members::get_right, &Members::set_right, Api::property_Right>(),
        property<&Members::get_bottom, &Members::set_bottom, Api::property_Bottom>(),
    });
}
const BehaviorTable ZELMOR_UNNAMED = rectangle_members<int32_t, api::Rectangle>();
const BehaviorTable ZELMOR_UNNAMED = rectangle_members<float, api::RectangleF>();

// ---- Rectangle

using IntRectangle = RectangleMembers<int32_t>;

template <int32_t (*kRounded)(float)>
RectangleValue rounded_rectangle(const RectangleFValue& r) {
    return {kRounded(r.x), kRounded(r.y), kRounded(r.width), kRounded(r.height)};
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&IntRectangle::from_numbers, api::Rectangle::ctor_000_Rectangle>(),
    behavior<&IntRectangle::from_parts, api::Rectangle::ctor_001_Rectangle>(),
    behavior<&IntRectangle::empty, api::Rectangle::ctor_002_Rectangle>(),
    behavior<&rounded_rectangle<&ceiling_to_int32>, api::Rectangle::call_000_Ceiling>(),
    behavior<&rounded_rectangle<&truncate_to_int32>, api::Rectangle::call_000_Truncate>(),
    behavior<&rounded_rectangle<&round_to_int32>, api::Rectangle::call_000_Round>(),
    behavior<&IntRectangle::contains_point, api::Rectangle::call_000_ContainsPoint>(),
    behavior<&IntRectangle::contains, api::Rectangle::call_000_ContainsRect>(),
});

// ---- RectangleF

using FloatRectangle = RectangleMembers<float>;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&FloatRectangle::from_numbers, api::RectangleF::ctor_000_RectangleF>(),
    behavior<&FloatRectangle::from_parts, api::RectangleF::ctor_001_RectangleF>(),
    behavior<&FloatRectangle::empty, api::RectangleF::ctor_002_RectangleF>(),
    behavior<&FloatRectangle::contains_point, api::RectangleF::call_000_ContainsPointF>(),
    behavior<&FloatRectangle::contains, api::RectangleF::call_000_ContainsRectF>(),
});

// ---- Factories and conversions

const FactoryRegistration ZELMOR_UNNAMED(api::Rectangle::kType.name, new_box<RectangleValue>);
const FactoryRegistration ZELMOR_UNNAMED(api::RectangleF::kType.name, new_box<RectangleFValue>);

const ConversionRegistration ZELMOR_UNNAMED(api::Rectangle::kType.name, api::RectangleF::kType.name,
                                            [](ManagedObject& rectangle) {
                                                const auto& r = unbox<RectangleValue>(rectangle);
                                                return box(RectangleFValue{
                                                    static_cast<float>(r.x), static_cast<float>(r.y),
                                                    static_cast<float>(r.width), static_cast<float>(r.height)});
                                            });

}  // namespace

std::u16string text_of(const RectangleValue& value) {
    return IntRectangle::text(value);
}
std::u16string text_of(const RectangleFValue& value) {
    return FloatRectangle::text(value);
}
int32_t hash_of(const RectangleValue& value) {
    return IntRectangle::hash(value);
}
int32_t hash_of(const RectangleFValue& value) {
    return FloatRectangle::hash(value);
}

}  // namespace zelmor::embed
