// The part of the platform layer that calls Linux: the dynamic loader, the path of the executable and the
// directory scans. A port to another system replaces this file.
#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <memory>

#include "host/netcore_version.h"
#include "host/netcore_version_parser.h"
#include "host/pal.h"

namespace pal {

namespace {

// Several directories can hold an assembly of the same name. The drawing module's directory is searched last, so that
// the copy of another module is preferred.
constexpr const char* kLastSearchedFolder = "pydrawing";

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

using Directory = std::unique_ptr<DIR, CloseDirectory>;

// The next entry that is itself a directory, null at the end. Links and entries of unknown type do not count.
const char* next_subdirectory(DIR* directory) {
    assert(directory != nullptr);
    for (const dirent* entry = readdir(directory); entry != nullptr; entry = readdir(directory)) {
        const std::string_view name = entry->d_name;
        if (entry->d_type == DT_DIR && name != "." && name != "..") {
            return entry->d_name;
        }
    }
    return nullptr;
}

// Like path_append, but the "/" also follows an empty directory.
std::string below(const std::string& directory, const std::string& name) {
    return directory + "/" + name;
}

}  // namespace

std::string get_entry_point_exe() {
    char buffer[4096];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    return length < 0 ? std::string() : std::string(buffer, static_cast<size_t>(length));
}

int get_process_id() {
    return getpid();
}

void* load_library(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
}

void free_library(void* handle) {
    assert(handle != nullptr);
    dlclose(handle);
}

void* get_symbol(void* handle, const char* name) {
    assert(handle != nullptr && name != nullptr);
    return dlsym(handle, name);
}

bool get_module(const std::string& path, void** handle) {
    assert(handle != nullptr);
    *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    return *handle != nullptr;
}

void get_app_folders(const std::string& root, bool debug, std::vector<std::string>& folders) {
    const Directory directory(opendir(root.c_str()));
    if (!directory) {
        return;
    }
    for (const char* name = next_subdirectory(directory.get()); name != nullptr;
         name = next_subdirectory(directory.get())) {
        std::string path = below(root, name);
        if (debug) {
            path = below(path, "debug");
            if (!is_file_exists(path)) {
                continue;
            }
        }
        folders.insert(std::string_view(name) == kLastSearchedFolder ? folders.end() : folders.begin(),
                       std::move(path));
    }
}

bool get_major_netcore_path(const std::string& root, const std::string& file_name, std::string& result) {
    std::vector<NetcoreFolder<std::string>> candidates;
    {
        const Directory directory(opendir(root.c_str()));
        if (!directory) {
            return false;
        }
        for (const char* name = next_subdirectory(directory.get()); name != nullptr;
             name = next_subdirectory(directory.get())) {
            NetcoreVersion version;
            if (try_parse(name, version)) {
                candidates.push_back({version, name});
            }
        }
    }
    std::sort(candidates.begin(), candidates.end(),
              [](const auto& left, const auto& right) { return left.version < right.version; });
    for (auto candidate = candidates.rbegin(); candidate != candidates.rend(); ++candidate) {
        std::string folder = below(root, candidate->name);
        if (is_file_exists(below(folder, file_name))) {
            result = std::move(folder);
            return true;
        }
    }
    return false;
}

}  // namespace pal
