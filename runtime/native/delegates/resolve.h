// Finding the delegate behind an assembly, a type and a method name.
#ifndef ZELMOR_RUNTIME_NATIVE_DELEGATES_RESOLVE_H
#define ZELMOR_RUNTIME_NATIVE_DELEGATES_RESOLVE_H

namespace zelmor::embed {

// Status codes of coreclr_create_delegate.
constexpr int kOk = 0;
constexpr int kAssemblyNotFound = static_cast<int>(0x80070002u);
constexpr int kTypeNotFound = static_cast<int>(0x80131522u);
constexpr int kMethodNotFound = static_cast<int>(0x80131513u);
constexpr int kInvalidOperation = static_cast<int>(0x80131022u);
constexpr int kOutOfMemory = static_cast<int>(0x8007000Eu);
constexpr int kFailed = static_cast<int>(0x80131500u);

struct Delegate {
    int status = kOk;
    void* address = nullptr;
    const char* signature = nullptr;  // codes of catalogue/tables.h
    const char* full_name = nullptr;  // managed type behind a host class; null for the service classes
};

// Answers from the catalogue and the service classes. The same entry point gives the same address again. A failure of
// memory or of the run-time code generator is a status too.
Delegate resolve_delegate(const char* assembly, const char* type, const char* method) noexcept;

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_DELEGATES_RESOLVE_H
