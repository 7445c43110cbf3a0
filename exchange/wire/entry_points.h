// Names by which the two service classes of the managed side are found, and the order in which they are bound.
#ifndef ZELMOR_EXCHANGE_WIRE_ENTRY_POINTS_H
#define ZELMOR_EXCHANGE_WIRE_ENTRY_POINTS_H

#include <array>
#include <cstddef>

constexpr const char* kExchangeHostType = "Zelmor.WrpGen.Interop.ExchangeHost";
constexpr const char* kObjectHostType = "Zelmor.WrpGen.Interop.ObjectHost";

// In binding order, which differs from the order of the fields at the two string builders. "FreeInstance" is
// bound twice, once for object handles and once for struct handles: the managed side has one method for both.
constexpr std::array<const char*, 15> kExchangeHostEntryPoints = {
    "GetTypeName",
    "SetExceptionCallback",
    "SetCatchAndClearErrorCallback",
    "SetU16StrBuilderCallback",
    "SetPyUnraisableStrBuilderCallback",
    "SetPyStrBuilderCallback",
    "SetPyBytesBuilderCallback",
    "SetPyObjApiCallbacks",
    "SetPyStaticCallbacks",
    "SetPyGenericCallbacks",
    "FreePendingArgs",
    "FreeInstance",
    "FreeInstance",
    "InitServices",
    "BoxStcTarget",
};

// In field order, which is the binding order.
constexpr std::array<const char*, 11> kObjectHostEntryPoints = {
    "ToStringOfObj", "ToStringOfStc", "GetHashOfObj", "GetHashOfStc", "IsEqualsOfObj", "IsEqualsOfStc",
    "IsTypeOf",      "GetTypeName",   "GetObjType",   "GetStcType",   "Dispose",
};

#endif  // ZELMOR_EXCHANGE_WIRE_ENTRY_POINTS_H
