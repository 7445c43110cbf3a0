// The records of a path resource as bytes of a file and as objects of the API.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_PATH_RECORDS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_PATH_RECORDS_H

#include <span>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Core.VectorPaths.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

constexpr size_t kPathRecordBytes = 26;
constexpr double kFixedPointOne = 1 << 24;  // coordinates have 24 bits behind the point

// The classes of the records.
constexpr const char* kKnotRecord = api::FileFormats::Core::VectorPaths::BezierKnotRecord::kType.name;
constexpr const char* kInitialFillRecord = api::FileFormats::Core::VectorPaths::InitialFillRuleRecord::kType.name;
constexpr const char* kLengthRecord = api::FileFormats::Core::VectorPaths::LengthRecord::kType.name;
constexpr const char* kFillRuleRecord = api::FileFormats::Core::VectorPaths::PathFillRuleRecord::kType.name;

// ArgumentException for fewer bytes, and for a record of an unknown type.
Ref<ManagedObject> path_record_of_bytes(std::span<const std::byte> data);
// Appends the bytes of a record. ArgumentException for a record whose values do not fit.
void put_path_record(Bytes& out, ManagedObject& record);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_PATH_RECORDS_H
