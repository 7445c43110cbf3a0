// A wrapper library for tests of the start-up. It logs every call in the file named by FAKE_WRAP_LOG and forwards it to
// the real wrapper library named by FAKE_WRAP_REAL; without that variable every call succeeds. Further variables
// replace single results:
//   FAKE_WRAP_LOAD, FAKE_WRAP_INITIALIZE, FAKE_WRAP_SHUTDOWN, FAKE_WRAP_IS_DOMAIN   the number to return
//   FAKE_WRAP_NO_DELEGATE   "<assembly>,<n>": the n-th delegate (from 0) that is requested of that assembly is missing
// The delegates that receive a module's callbacks are wrapped in thunks that log their calls.
// The flavors that lack one symbol are built from this file, with the symbol renamed on the compiler's command line.
#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#define FAKE_WRAP_API extern "C" [[gnu::visibility("default")]]

namespace {

constexpr int kMissingMethod = static_cast<int>(0x80131513u);  // COR_E_MISSINGMETHOD

void log_call(const std::string& line) {
    const char* path = std::getenv("FAKE_WRAP_LOG");
    if (path == nullptr) {
        return;
    }
    std::FILE* file = std::fopen(path, "a");
    if (file == nullptr) {
        std::abort();
    }
    std::fprintf(file, "%s\n", line.c_str());
    std::fclose(file);
}

// Base 0 accepts a status in hexadecimal.
bool replaced(const char* variable, int& answer) {
    const char* text = std::getenv(variable);
    if (text == nullptr) {
        return false;
    }
    answer = static_cast<int>(std::strtoul(text, nullptr, 0));
    return true;
}

template <typename Function>
Function* real_function(const char* name) {
    const char* path = std::getenv("FAKE_WRAP_REAL");
    if (path == nullptr) {
        return nullptr;
    }
    static void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    void* function = library != nullptr ? dlsym(library, name) : nullptr;
    if (function == nullptr) {
        std::fprintf(stderr, "fake wrapper: %s\n", dlerror());
        std::abort();
    }
    return reinterpret_cast<Function*>(function);
}

// The hand-over delegates take at most one pointer. A thunk is needed for each, since a delegate carries no context.
constexpr int kMaxThunks = 128;

struct HandOver {
    std::string name;
    void* (*real)(void*);
};

// Never destroyed, since modules still call this library after its exit handlers have run.
std::vector<HandOver>& g_hand_overs = *new std::vector<HandOver>;

template <int N>
void* hand_over_thunk(void* argument) {
    log_call("call " + g_hand_overs[N].name);
    return g_hand_overs[N].real(argument);
}

template <int... N>
constexpr std::array<void* (*)(void*), sizeof...(N)> make_thunks(std::integer_sequence<int, N...>) {
    return {hand_over_thunk<N>...};
}

constexpr auto kThunks = make_thunks(std::make_integer_sequence<int, kMaxThunks>());

bool is_hand_over(const std::string& type, const std::string& method) {
    return type == "Zelmor.WrpGen.Interop.ExchangeHost" && (method.rfind("Set", 0) == 0 || method == "InitServices");
}

void put_thunk_before(const std::string& name, void** delegate) {
    if (g_hand_overs.size() == kMaxThunks) {
        std::abort();
    }
    g_hand_overs.push_back({name, reinterpret_cast<void* (*)(void*)>(*delegate)});
    *delegate = reinterpret_cast<void*>(kThunks[g_hand_overs.size() - 1]);
}

bool is_left_out(const std::string& assembly) {
    static auto& asked_for = *new std::map<std::string, int>;
    const std::string request = assembly + "," + std::to_string(asked_for[assembly]++);
    const char* left_out = std::getenv("FAKE_WRAP_NO_DELEGATE");
    return left_out != nullptr && request == left_out;
}

}  // namespace

FAKE_WRAP_API int coreclr_wrap_load(const char* path) {
    log_call(std::string("load ") + path);
    int answer = 1;
    if (replaced("FAKE_WRAP_LOAD", answer)) {
        return answer;
    }
    const auto real = real_function<int(const char*)>("coreclr_wrap_load");
    return real != nullptr ? real(path) : answer;
}

FAKE_WRAP_API int coreclr_wrap_initialize(const char* exe, const char* domain, int count, const char** keys,
                                          const char** values) {
    log_call(std::string("initialize ") + exe + " " + domain + " " + std::to_string(count));
    for (int i = 0; i < count; ++i) {
        log_call(std::string("property ") + keys[i] + "=" + values[i]);
    }
    int answer = 0;
    if (replaced("FAKE_WRAP_INITIALIZE", answer)) {
        return answer;
    }
    const auto real =
        real_function<int(const char*, const char*, int, const char**, const char**)>("coreclr_wrap_initialize");
    return real != nullptr ? real(exe, domain, count, keys, values) : answer;
}

FAKE_WRAP_API int coreclr_wrap_create_delegate(const char* assembly, const char* type, const char* method,
                                               void** delegate) {
    log_call(std::string("delegate ") + assembly + " " + type + " " + method);
    *delegate = nullptr;
    if (is_left_out(assembly)) {
        return kMissingMethod;
    }
    const auto real = real_function<int(const char*, const char*, const char*, void**)>("coreclr_wrap_create_delegate");
    if (real == nullptr) {
        return 0;
    }
    const int status = real(assembly, type, method, delegate);
    if (status == 0 && is_hand_over(type, method)) {
        put_thunk_before(std::string(assembly) + " " + method, delegate);
    }
    return status;
}

FAKE_WRAP_API int coreclr_wrap_shutdown() {
    log_call("shutdown");
    int answer = 0;
    if (replaced("FAKE_WRAP_SHUTDOWN", answer)) {
        return answer;
    }
    const auto real = real_function<int()>("coreclr_wrap_shutdown");
    return real != nullptr ? real() : answer;
}

FAKE_WRAP_API int coreclr_wrap_is_domain_initialized() {
    log_call("is_domain_initialized");
    int answer = 1;
    if (replaced("FAKE_WRAP_IS_DOMAIN", answer)) {
        return answer;
    }
    const auto real = real_function<int()>("coreclr_wrap_is_domain_initialized");
    return real != nullptr ? real() : answer;
}
