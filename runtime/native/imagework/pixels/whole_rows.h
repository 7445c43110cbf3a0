// A reader of rows that lie in memory as a whole.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_WHOLE_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_WHOLE_ROWS_H

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// `share` counts the memory of the rows for as long as the reader lives.
std::unique_ptr<RowReader> whole_rows(RowsHeader header, std::vector<uint8_t> rows, MemoryShare share = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_WHOLE_ROWS_H
