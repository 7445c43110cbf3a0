// The status codes of the wrapper library itself, for calls that it does not forward to the runtime. They are the
// public HRESULT values of the same meaning.
#ifndef ZELMOR_RUNTIME_WRAPPER_STATUS_H
#define ZELMOR_RUNTIME_WRAPPER_STATUS_H

constexpr int kStatusOk = 0;

/// E_POINTER: a required argument is null.
constexpr int kStatusNullArgument = static_cast<int>(0x80004003u);

/// E_INVALIDARG: a negative number of properties.
constexpr int kStatusInvalidArgument = static_cast<int>(0x80070057u);

/// HOST_E_INVALIDOPERATION: the call does not fit the state, such as a second start.
constexpr int kStatusWrongState = static_cast<int>(0x80131022u);

/// HOST_E_CLRNOTAVAILABLE: no runtime is loaded, or none is running.
constexpr int kStatusNoRuntime = static_cast<int>(0x80131023u);

#endif  // ZELMOR_RUNTIME_WRAPPER_STATUS_H
