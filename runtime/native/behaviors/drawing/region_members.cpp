// Region: members.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

RegionTree rect_region(const RectD& rect) {
    return region_of({rectangle_contour(rect)}, FillRule::kAlternate);
}
RegionTree path_region(const PathObject* path) {
    required(path, "path");
    return region_of(path->outline(), path->fill_rule());
}

Ref<RegionObject> from_rect(RectArg rect) {
    return make_ref<RegionObject>(rect_region(rect));
}
Ref<RegionObject> from_path(PathObject* path) {
    return make_ref<RegionObject>(path_region(path));
}

template <RegionOperation kOperation>
void with_rect(RegionObject& self, RectArg rect) {
    self.tree = combined(self.tree, rect_region(rect), kOperation);
}
template <RegionOperation kOperation>
void with_path(RegionObject& self, PathObject* path) {
    self.tree = combined(self.tree, path_region(path), kOperation);
}
template <RegionOperation kOperation>
void with_region(RegionObject& self, RegionObject* region) {
    self.tree = combined(self.tree, required(region, "region").tree, kOperation);
}

template <class N>
void translate(RegionObject& self, N dx, N dy) {
    self.tree = transformed(self.tree, Affine::translation(double(dx), double(dy)));
}
void transform(RegionObject& self, MatrixObject* matrix) {
    self.tree = transformed(self.tree, required_map(matrix, "matrix"));
}
Ref<ManagedObject> deep_clone(RegionObject& self) {
    return self.copy();
}
void make_infinite(RegionObject& self) {
    self.tree = infinite_region();
}
void make_empty(RegionObject& self) {
    self.tree = empty_region();
}
bool region_is_empty(RegionObject& self, Record* graphics) {
    required(graphics, "g");
    return is_empty(self.tree);
}
bool region_is_infinite(RegionObject& self, Record* graphics) {
    required(graphics, "g");
    return is_infinite(self.tree);
}
bool equal(RegionObject& self, RegionObject* other, Record* graphics) {
    required(other, "region");
    required(graphics, "g");
    return is_empty(combined(self.tree, other->tree, RegionOperation::kXor));
}

// ---- Hit tests. The graphics is ignored: points and regions are both in world coordinates.

bool meets(const RegionObject& self, const RectD& rect) {
    if (rect.width <= 0 || rect.height <= 0) {
        return false;
    }
    return !is_empty(combined(self.tree, rect_region(rect), RegionOperation::kIntersect));
}
template <class N>
bool has_xy(RegionObject& self, N x, N y) {
    return self.tree->contains({double(x), double(y)});
}
template <class N>
bool has_xy_in(RegionObject& self, N x, N y, Record*) {
    return self.tree->contains({double(x), double(y)});
}
bool has_point(RegionObject& self, PointArg point) {
    return self.tree->contains(point);
}
bool has_point_in(RegionObject& self, PointArg point, Record*) {
    return self.tree->contains(point);
}
template <class N>
bool has_xywh(RegionObject& self, N x, N y, N width, N height) {
    return meets(self, {double(x), double(y), double(width), double(height)});
}
template <class N>
bool has_xywh_in(RegionObject& self, N x, N y, N width, N height, Record*) {
    return meets(self, {double(x), double(y), double(width), double(height)});
}
bool has_rect(RegionObject& self, RectArg rect) {
    return meets(self, rect);
}
bool has_rect_in(RegionObject& self, RectArg rect, Record*) {
    return meets(self, rect);
}

using Api = api::Region;

// The members of one operation: with a rectangle, a path and another region.
#define ZELMOR_REGION_OPERATION(Name)                                                                       \
    behavior<&with_rect<RegionOperation::k##Name>, Api::call_000_##Name, Api::call_001_##Name,              \
             Api::call_000_##Name##RectF, Api::call_000_##Name##Rect>(),                                    \
        behavior<&with_path<RegionOperation::k##Name>, Api::call_002_##Name, Api::call_000_##Name##Path>(), \
        behavior<&with_region<RegionOperation::k##Name>, Api::call_003_##Name, Api::call_000_##Name##Rgn>()

const BehaviorTable table({
    behavior<&from_rect, Api::ctor_001_Region, Api::ctor_002_Region, Api::call_000_CreateWithRectF,
             Api::call_000_CreateWithRect>(),
    behavior<&from_path, Api::ctor_003_Region, Api::call_000_CreateWithPath>(),
    ZELMOR_REGION_OPERATION(Intersect),
    ZELMOR_REGION_OPERATION(Union),
    ZELMOR_REGION_OPERATION(Xor),
    ZELMOR_REGION_OPERATION(Exclude),
    ZELMOR_REGION_OPERATION(Complement),
    behavior<&translate<float>, Api::call_000_Translate, Api::call_000_TranslateF>(),
    behavior<&translate<int32_t>, Api::call_001_Translate>(),
    behavior<&transform, Api::call_000_Transform>(),
    behavior<&deep_clone, Api::call_000_DeepClone>(),
    behavior<&make_infinite, Api::call_000_MakeInfinite>(),
    behavior<&make_empty, Api::call_000_MakeEmpty>(),
    behavior<&region_is_empty, Api::call_000_IsEmpty>(),
    behavior<&region_is_infinite, Api::call_000_IsInfinite>(),
    behavior<&equal, Api::call_000_Equals>(),
    behavior<&has_xy<float>, Api::call_000_IsVisible, Api::call_000_IsVisibleF>(),
    behavior<&has_point, Api::call_001_IsVisible, Api::call_009_IsVisible, Api::call_000_IsVisiblePointF,
             Api::call_000_IsVisiblePoint>(),
    behavior<&has_xy_in<float>, Api::call_002_IsVisible, Api::call_000_IsVisibleWithGraphicsF>(),
    behavior<&has_point_in, Api::call_003_IsVisible, Api::call_010_IsVisible, Api::call_000_IsVisiblePointFWithGraphics,
             Api::call_000_IsVisiblePointWithGraphics>(),
    behavior<&has_xywh<float>, Api::call_004_IsVisible, Api::call_000_IsVisibleXywhf>(),
    behavior<&has_rect, Api::call_005_IsVisible, Api::call_012_IsVisible, Api::call_000_IsVisibleRectF,
             Api::call_000_IsVisibleRect>(),
    behavior<&has_xywh_in<float>, Api::call_006_IsVisible, Api::call_000_IsVisibleXywhGraphicsF>(),
    behavior<&has_rect_in, Api::call_007_IsVisible, Api::call_014_IsVisible, Api::call_000_IsVisibleRectFWithGraphics,
             Api::call_000_IsVisibleRectWithGraphics>(),
    behavior<&has_xy_in<int32_t>, Api::call_008_IsVisible, Api::call_000_IsVisibleWithGraphics>(),
    behavior<&has_xywh<int32_t>, Api::call_011_IsVisible, Api::call_000_IsVisibleXywh>(),
    behavior<&has_xywh_in<int32_t>, Api::call_013_IsVisible, Api::call_000_IsVisibleXywhGraphics>(),
});
#undef ZELMOR_REGION_OPERATION

const FactoryRegistration factory(RegionObject::kManagedName,
                                  [](const TypeInfo&) -> Ref<ManagedObject> { return make_ref<RegionObject>(); });

}  // namespace

}  // namespace zelmor::embed
