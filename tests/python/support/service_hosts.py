"""The order in which the service classes are bound and the callbacks handed over, written down a second time.

This is not derived from the headers of the wire on purpose: the tests compare the headers with it.
"""

EXCHANGE_HOST = "Zelmor.WrpGen.Interop.ExchangeHost"
OBJECT_HOST = "Zelmor.WrpGen.Interop.ObjectHost"
EXCHANGE_ENTRIES = [
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
]
OBJECT_ENTRIES = [
    "ToStringOfObj",
    "ToStringOfStc",
    "GetHashOfObj",
    "GetHashOfStc",
    "IsEqualsOfObj",
    "IsEqualsOfStc",
    "IsTypeOf",
    "GetTypeName",
    "GetObjType",
    "GetStcType",
    "Dispose",
]
BOUND = [(EXCHANGE_HOST, entry) for entry in EXCHANGE_ENTRIES] + [(OBJECT_HOST, entry) for entry in OBJECT_ENTRIES]
HANDED_OVER = [
    "SetExceptionCallback",
    "SetCatchAndClearErrorCallback",
    "SetU16StrBuilderCallback",
    "SetPyStrBuilderCallback",
    "SetPyUnraisableStrBuilderCallback",
    "SetPyObjApiCallbacks",
    "SetPyStaticCallbacks",
    "SetPyGenericCallbacks",
    "SetPyBytesBuilderCallback",
    "InitServices",
]
