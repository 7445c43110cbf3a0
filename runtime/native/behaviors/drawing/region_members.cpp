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

Ref<RegionObject> region_from_rect(RectArg rect) {
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
Ref<ManagedObject> region_deep_clone(RegionObject& self) {
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
bool regions_equal(RegionObject& self, RegionObject* other, Record* graphics) {
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

using RegionApi = api::Region;

// The members of one operation: with a rectangle, a path and another region.
#define ZELMOR_REGION_OPERATION(Name)                                                                      \
    behavior<&with_rect<RegionOperation::k##Name>, RegionApi::call_000_##Name, RegionApi::call_001_##Name, \
             RegionApi::call_000_##Name##RectF, RegionApi::call_000_##Name##Rect>(),                       \
        behavior<&with_path<RegionOperation::k##Name>, RegionApi::call_002_##Name,                         \
                 RegionApi::call_000_##Name##Path>(),                                                      \
        behavior<&with_region<RegionOperation::k##Name>, RegionApi::call_003_##Name,                       \
                 RegionApi::call_000_##Name##Rgn>()

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&region_from_rect, RegionApi::ctor_001_Region, RegionApi::ctor_002_Region,
             RegionApi::call_000_CreateWithRectF, RegionApi::call_000_CreateWithRect>(),
    behavior<&from_path, RegionApi::ctor_003_Region, RegionApi::call_000_CreateWithPath>(),
    ZELMOR_REGION_OPERATION(Intersect),
    ZELMOR_REGION_OPERATION(Union),
    ZELMOR_REGION_OPERATION(Xor),
    ZELMOR_REGION_OPERATION(Exclude),
    ZELMOR_REGION_OPERATION(Complement),
    behavior<&translate<float>, RegionApi::call_000_Translate, RegionApi::call_000_TranslateF>(),
    behavior<&translate<int32_t>, RegionApi::call_001_Translate>(),
    behavior<&transform, RegionApi::call_000_Transform>(),
    behavior<&region_deep_clone, RegionApi::call_000_DeepClone>(),
    behavior<&make_infinite, RegionApi::call_000_MakeInfinite>(),
    behavior<&make_empty, RegionApi::call_000_MakeEmpty>(),
    behavior<&region_is_empty, RegionApi::call_000_IsEmpty>(),
    behavior<&region_is_infinite, RegionApi::call_000_IsInfinite>(),
    behavior<&regions_equal, RegionApi::call_000_Equals>(),
    behavior<&has_xy<float>, RegionApi::call_000_IsVisible, RegionApi::call_000_IsVisibleF>(),
    behavior<&has_point, RegionApi::call_001_IsVisible, RegionApi::call_009_IsVisible,
             RegionApi::call_000_IsVisiblePointF, RegionApi::call_000_IsVisiblePoint>(),
    behavior<&has_xy_in<float>, RegionApi::call_002_IsVisible, RegionApi::call_000_IsVisibleWithGraphicsF>(),
    behavior<&has_point_in, RegionApi::call_003_IsVisible, RegionApi::call_010_IsVisible,
             RegionApi::call_000_IsVisiblePointFWithGraphics, RegionApi::call_000_IsVisiblePointWithGraphics>(),
    behavior<&has_xywh<float>, RegionApi::call_004_IsVisible, RegionApi::call_000_IsVisibleXywhf>(),
    behavior<&has_rect, RegionApi::call_005_IsVisible, RegionApi::call_012_IsVisible,
             RegionApi::call_000_IsVisibleRectF, RegionApi::call_000_IsVisibleRect>(),
    behavior<&has_xywh_in<float>, RegionApi::call_006_IsVisible, RegionApi::call_000_IsVisibleXywhGraphicsF>(),
    behavior<&has_rect_in, RegionApi::call_007_IsVisible, RegionApi::call_014_IsVisible,
             RegionApi::call_000_IsVisibleRectFWithGraphics, RegionApi::call_000_IsVisibleRectWithGraphics>(),
    behavior<&has_xy_in<int32_t>, RegionApi::call_008_IsVisible, RegionApi::call_000_IsVisibleWithGraphics>(),
    behavior<&has_xywh<int32_t>, RegionApi::call_011_IsVisible, RegionApi::call_000_IsVisibleXywh>(),
    behavior<&has_xywh_in<int32_t>, RegionApi::call_013_IsVisible, RegionApi::call_000_IsVisibleXywhGraphics>(),
});
#undef ZELMOR_REGION_OPERATION

const FactoryRegistration ZELMOR_UNNAMED(RegionObject::kManagedName, [](const TypeInfo&) -> Ref<ManagedObject> {
    return make_ref<RegionObject>();
});

}  // namespace

}  // namespace zelmor::embed
