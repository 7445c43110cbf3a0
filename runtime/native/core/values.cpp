// The templates of the value types, compiled for each of them.
#include "runtime/native/core/values.h"

namespace zelmor::embed {

ZELMOR_STRUCT_FUNCTIONS(, SizeValue);
ZELMOR_STRUCT_FUNCTIONS(, SizeFValue);
ZELMOR_STRUCT_FUNCTIONS(, PointValue);
ZELMOR_STRUCT_FUNCTIONS(, PointFValue);
ZELMOR_STRUCT_FUNCTIONS(, RectangleValue);
ZELMOR_STRUCT_FUNCTIONS(, RectangleFValue);
ZELMOR_STRUCT_FUNCTIONS(, ColorValue);
ZELMOR_STRUCT_FUNCTIONS(, CmykValue);

}  // namespace zelmor::embed
