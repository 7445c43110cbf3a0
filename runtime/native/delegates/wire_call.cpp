// Calls over libffi.
#include "runtime/native/delegates/wire_call.h"

#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zelmor::embed {

namespace {

ffi_type* type_of_code(char code) {
    switch (code) {
        case 'v':
            return &ffi_type_void;
        case 'b':
        case 'C':
            return &ffi_type_uint8;
        case 'c':
            return &ffi_type_sint8;
        case 's':
            return &ffi_type_sint16;
        case 'S':
            return &ffi_type_uint16;
        case 'i':
            return &ffi_type_sint32;
        case 'I':
            return &ffi_type_uint32;
        case 'l':
            return &ffi_type_sint64;
        case 'L':
            return &ffi_type_uint64;
        case 'f':
            return &ffi_type_float;
        case 'd':
            return &ffi_type_double;
        default:
            return &ffi_type_pointer;
    }
}

struct CallInterface {
    std::string signature;
    std::vector<ffi_type*> arguments;
    ffi_cif cif;
};

struct RawDelegate {
    const char* signature;
    ClosureHandler handler;
    std::shared_ptr<void> context;
};

void run_raw(ffi_cif*, void* result, void** arguments, void* user) noexcept {
    const auto& delegate = *static_cast<const RawDelegate*>(user);
    CallFrame frame(delegate.signature, result, arguments);
    delegate.handler(delegate.context.get(), frame);
}

}  // namespace

size_t width_of_code(char code) {
    return type_of_code(code)->size;
}

uint64_t CallFrame::result_word() const {
    switch (m_signature[0]) {
        case 'v':
            return 0;
        case 'f': {
            uint32_t bits;
            std::memcpy(&bits, m_result, sizeof bits);
            return bits;
        }
        case 'b':
            return *static_cast<uint64_t*>(m_result) & 0xFF;
        default:
            return *static_cast<uint64_t*>(m_result);
    }
}

ffi_cif& call_interface(const char* signature) {
    // Shared by all threads: no callback runs while the map is looked at, and what it leads to stays as it is.
    static auto& known = *new std::unordered_map<std::string_view, std::unique_ptr<CallInterface>>;
    if (const auto found = known.find(signature); found != known.end()) {
        return found->second->cif;
    }
    auto made = std::make_unique<CallInterface>();
    made->signature = signature;
    for (const char* code = signature + 1; *code; ++code) {
        made->arguments.push_back(type_of_code(*code));
    }
    if (ffi_prep_cif(&made->cif, FFI_DEFAULT_ABI, static_cast<unsigned>(made->arguments.size()),
                     type_of_code(signature[0]), made->arguments.data()) != FFI_OK) {
        throw std::invalid_argument(std::string("the wire signature '") + signature + "' cannot be called");
    }
    const std::string_view key = made->signature;
    return known.emplace(key, std::move(made)).first->second->cif;
}

void call_delegate(void* address, CallFrame& frame) {
    ffi_call(&call_interface(frame.signature()), reinterpret_cast<void (*)()>(address), frame.result(),
             frame.arguments());
}

void* make_native_function(const char* signature, ClosureRun run, void* user) {
    void* code = nullptr;
    auto* memory = static_cast<ffi_closure*>(ffi_closure_alloc(sizeof(ffi_closure), &code));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    if (ffi_prep_closure_loc(memory, &call_interface(signature), run, user, code) != FFI_OK) {
        ffi_closure_free(memory);
        throw std::invalid_argument("no function can be made at run time on this machine");
    }
    return code;
}

void* make_raw_delegate(const char* signature, ClosureHandler handler, std::shared_ptr<void> context) {
    // All that there are: what libffi keeps of them lies in memory that no leak checker looks at.
    static auto& all = *new std::vector<std::unique_ptr<RawDelegate>>;
    all.push_back(std::make_unique<RawDelegate>(RawDelegate{signature, handler, std::move(context)}));
    return make_native_function(signature, run_raw, all.back().get());
}

}  // namespace zelmor::embed
