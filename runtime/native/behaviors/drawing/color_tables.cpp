// Blends of colors along gradients, and matrices that change colors.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/behaviors/values/struct_arrays.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

using api::Blend;
using api::ColorBlend;
using api::ColorMatrix;

constexpr int kSize = 5;  // rows and columns of a color matrix

Value zeros(int32_t count) {
    return Ref<ManagedObject>(make_array(std::vector<float>(static_cast<size_t>(count))));
}
void require_count(int32_t count) {
    if (count < 0) {
        throw_out_of_range("count", "The value " + std::to_string(count) + " is no number of elements.");
    }
    if (count > 10'000'000) {
        throw ManagedException("OutOfMemoryException", "A blend of so many positions is too large.");
    }
}

// A new blend has one position.
Ref<ManagedObject> color_blend(int32_t count) {
    require_count(count);
    std::vector<Value> colors;
    for (int32_t i = 0; i < count; ++i) {
        colors.emplace_back(box(ColorValue()));
    }
    auto blend = make_ref<Record>(require_type(ColorBlend::kType.name));
    set_property(*blend, "Colors", Value(Ref<ManagedObject>(struct_array<ColorValue>(std::move(colors)))));
    set_property(*blend, "Positions", zeros(count));
    return blend;
}
Ref<ManagedObject> blend(int32_t count) {
    require_count(count);
    auto blend = make_ref<Record>(require_type(Blend::kType.name));
    set_property(*blend, "Factors", zeros(count));
    set_property(*blend, "Positions", zeros(count));
    return blend;
}

// ---- ColorMatrix

std::string element_name(int row, int column) {
    return "Matrix" + std::to_string(row) + std::to_string(column);
}
Ref<ManagedObject> identity_of(const TypeInfo& type) {
    auto matrix = make_ref<Record>(type);
    for (int i = 0; i < kSize; ++i) {
        set_property(*matrix, element_name(i, i), 1.0);
    }
    return matrix;
}
// The element of a float[][].
const ElementType& row_element() {
    return element_of(CollectionInfo{CollectionShape::kArray, "F25B175D"});
}
Ref<ManagedObject> from_rows(const VariantArg* rows) {
    const std::vector<Value> lines = read_elements(rows, row_element(), "new_color_matrix");
    auto matrix = make_instance(ColorMatrix::kType.name);
    if (lines.size() < kSize) {
        throw ManagedException("IndexOutOfRangeException", "A color matrix has five rows.");
    }
    for (int row = 0; row < kSize; ++row) {
        const std::vector<double> numbers = numbers_of(lines[static_cast<size_t>(row)]);
        if (numbers.size() < kSize) {
            throw ManagedException("IndexOutOfRangeException", "A row has five numbers.");
        }
        for (int column = 0; column < kSize; ++column) {
            set_property(*matrix, element_name(row, column), numbers[static_cast<size_t>(column)]);
        }
    }
    return matrix;
}

void require_place(int32_t row, int32_t column) {
    const auto inside = [](int32_t index) { return index >= 0 && index < kSize; };
    if (inside(row) && inside(column)) {
        return;
    }
    throw ManagedException("IndexOutOfRangeException",
                           "A color matrix has five rows and columns: there is no element " + std::to_string(row) +
                               ", " + std::to_string(column) + ".");
}
float get_element(Record& self, int32_t row, int32_t column) {
    require_place(row, column);
    return static_cast<float>(property_double(self, element_name(row, column)));
}
void set_element(Record& self, int32_t row, int32_t column, float value) {
    require_place(row, column);
    set_property(self, element_name(row, column), double{value});
}
// The rows as a float[][].
Collection rows_of(Record& self) {
    std::vector<Value> rows;
    for (int row = 0; row < kSize; ++row) {
        std::vector<float> numbers;
        for (int column = 0; column < kSize; ++column) {
            numbers.push_back(get_element(self, row, column));
        }
        rows.emplace_back(Ref<ManagedObject>(make_array(std::move(numbers))));
    }
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, row_element(), std::move(rows)))};
}
template <int32_t kValue>
int32_t constant() {
    return kValue;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&color_blend, ColorBlend::ctor_001_ColorBlend>(),
    behavior<&blend, Blend::ctor_001_Blend>(),
    behavior<&from_rows, ColorMatrix::ctor_001_ColorMatrix>(),
    behavior<&rows_of, ColorMatrix::call_000_GetMatrix>(),
    behavior<&get_element, ColorMatrix::call_000_GetElem>(),
    behavior<&set_element, ColorMatrix::call_000_SetElem>(),
    behavior<&constant<2>, ColorMatrix::getsa_MatrixDimensionsCount>(),
    behavior<&constant<kSize>, ColorMatrix::getsa_MatrixDimensionElementsCount>(),
    behavior<&constant<kSize * kSize>, ColorMatrix::getsa_MatrixTotalElementsCount>(),
});

const FactoryRegistration ZELMOR_UNNAMED(ColorBlend::kType.name, [](const TypeInfo&) { return color_blend(1); });
const FactoryRegistration ZELMOR_UNNAMED(Blend::kType.name, [](const TypeInfo&) { return blend(1); });
const FactoryRegistration ZELMOR_UNNAMED(ColorMatrix::kType.name, identity_of);

}  // namespace

}  // namespace zelmor::embed
