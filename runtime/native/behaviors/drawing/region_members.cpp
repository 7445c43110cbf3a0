// Region: members.
#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

RegionTree rect_region(const RectD& rect) {
    return region_of({rectangle_contour(rect)}, FillRule::kAlternate);
}
RegionTree path_region(const PathObject* path) {
    if (!path) {
        throw_argument_null("path");
    }
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
    if (!region) {
        throw_argument_null("region");
    }
    self.tree = combined(self.tree, region->tree, kOperation);
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
void require_graphics(const Record* graphics) {
    if (!graphics) {
        throw_argument_null("g");
    }
}
bool region_is_empty(RegionObject& self, Record* graphics) {
    require_graphics(graphics);
    return is_empty(self.tree);
}
bool region_is_infinite(RegionObject& self, Record* graphics) {
    require_graphics(graphics);
    return is_infinite(self.tree);
}
bool equal(RegionObject& self, RegionObject* other, Record* graphics) {
    if (!other) {
        throw_argument_null("region");
    }
    require_graphics(graphics);
    return is_empty(combined(self.tree, other->tree, RegionOperation::kXor));
}

// ---- Hit tests. A graphics adds nothing: points and regions are both in world coordinates.

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

constexpr const char* kRegion = RegionObject::kManagedName;

#define ZELMOR_REGION_OPERATION(name)                                                         \
    {kRegion, "call_000_" #name, entry<&with_rect<RegionOperation::k##name>>()},              \
        {kRegion, "call_001_" #name, entry<&with_rect<RegionOperation::k##name>>()},          \
        {kRegion, "call_002_" #name, entry<&with_path<RegionOperation::k##name>>()},          \
        {kRegion, "call_003_" #name, entry<&with_region<RegionOperation::k##name>>()},        \
        {kRegion, "call_000_" #name "RectF", entry<&with_rect<RegionOperation::k##name>>()},  \
        {kRegion, "call_000_" #name "Rect", entry<&with_rect<RegionOperation::k##name>>()},   \
        {kRegion, "call_000_" #name "Path", entry<&with_path<RegionOperation::k##name>>()}, { \
        kRegion, "call_000_" #name "Rgn", entry<&with_region<RegionOperation::k##name>>()     \
    }

const Behavior kMembers[] = {
    {kRegion, "ctor_001_Region", entry<&from_rect>()},
    {kRegion, "ctor_002_Region", entry<&from_rect>()},
    {kRegion, "ctor_003_Region", entry<&from_path>()},
    {kRegion, "call_000_CreateWithRectF", entry<&from_rect>()},
    {kRegion, "call_000_CreateWithRect", entry<&from_rect>()},
    {kRegion, "call_000_CreateWithPath", entry<&from_path>()},
    ZELMOR_REGION_OPERATION(Intersect),
    ZELMOR_REGION_OPERATION(Union),
    ZELMOR_REGION_OPERATION(Xor),
    ZELMOR_REGION_OPERATION(Exclude),
    ZELMOR_REGION_OPERATION(Complement),
    {kRegion, "call_000_Translate", entry<&translate<float>>()},
    {kRegion, "call_001_Translate", entry<&translate<int32_t>>()},
    {kRegion, "call_000_TranslateF", entry<&translate<float>>()},
    {kRegion, "call_000_Transform", entry<&transform>()},
    {kRegion, "call_000_DeepClone", entry<&deep_clone>()},
    {kRegion, "call_000_MakeInfinite", entry<&make_infinite>()},
    {kRegion, "call_000_MakeEmpty", entry<&make_empty>()},
    {kRegion, "call_000_IsEmpty", entry<&region_is_empty>()},
    {kRegion, "call_000_IsInfinite", entry<&region_is_infinite>()},
    {kRegion, "call_000_Equals", entry<&equal>()},
    {kRegion, "call_000_IsVisible", entry<&has_xy<float>>()},
    {kRegion, "call_001_IsVisible", entry<&has_point>()},
    {kRegion, "call_002_IsVisible", entry<&has_xy_in<float>>()},
    {kRegion, "call_003_IsVisible", entry<&has_point_in>()},
    {kRegion, "call_004_IsVisible", entry<&has_xywh<float>>()},
    {kRegion, "call_005_IsVisible", entry<&has_rect>()},
    {kRegion, "call_006_IsVisible", entry<&has_xywh_in<float>>()},
    {kRegion, "call_007_IsVisible", entry<&has_rect_in>()},
    {kRegion, "call_008_IsVisible", entry<&has_xy_in<int32_t>>()},
    {kRegion, "call_009_IsVisible", entry<&has_point>()},
    {kRegion, "call_010_IsVisible", entry<&has_point_in>()},
    {kRegion, "call_011_IsVisible", entry<&has_xywh<int32_t>>()},
    {kRegion, "call_012_IsVisible", entry<&has_rect>()},
    {kRegion, "call_013_IsVisible", entry<&has_xywh_in<int32_t>>()},
    {kRegion, "call_014_IsVisible", entry<&has_rect_in>()},
    {kRegion, "call_000_IsVisibleF", entry<&has_xy<float>>()},
    {kRegion, "call_000_IsVisiblePointF", entry<&has_point>()},
    {kRegion, "call_000_IsVisibleWithGraphicsF", entry<&has_xy_in<float>>()},
    {kRegion, "call_000_IsVisiblePointFWithGraphics", entry<&has_point_in>()},
    {kRegion, "call_000_IsVisibleXywhf", entry<&has_xywh<float>>()},
    {kRegion, "call_000_IsVisibleRectF", entry<&has_rect>()},
    {kRegion, "call_000_IsVisibleXywhGraphicsF", entry<&has_xywh_in<float>>()},
    {kRegion, "call_000_IsVisibleRectFWithGraphics", entry<&has_rect_in>()},
    {kRegion, "call_000_IsVisibleWithGraphics", entry<&has_xy_in<int32_t>>()},
    {kRegion, "call_000_IsVisiblePoint", entry<&has_point>()},
    {kRegion, "call_000_IsVisiblePointWithGraphics", entry<&has_point_in>()},
    {kRegion, "call_000_IsVisibleXywh", entry<&has_xywh<int32_t>>()},
    {kRegion, "call_000_IsVisibleRect", entry<&has_rect>()},
    {kRegion, "call_000_IsVisibleXywhGraphics", entry<&has_xywh_in<int32_t>>()},
    {kRegion, "call_000_IsVisibleRectWithGraphics", entry<&has_rect_in>()},
};
#undef ZELMOR_REGION_OPERATION
const BehaviorTable table(Assembly::kImaging, kMembers);

const FactoryRegistration factory(kRegion,
                                  [](const TypeInfo&) -> Ref<ManagedObject> { return make_ref<RegionObject>(); });

}  // namespace

}  // namespace zelmor::embed
