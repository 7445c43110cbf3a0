// A shared library held open by this process.
#include "host/dynamic_library.h"

#include <cassert>
#include <stdexcept>
#include <utility>

#include "host/host_trace.h"
#include "host/pal.h"

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : m_handle(std::exchange(other.m_handle, nullptr)), m_is_first_load(other.m_is_first_load) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    if (this != &other) {
        free();
        m_handle = std::exchange(other.m_handle, nullptr);
        m_is_first_load = other.m_is_first_load;
    }
    return *this;
}

DynamicLibrary::~DynamicLibrary() {
    free();
}

bool DynamicLibrary::try_load(const std::string& path, const std::string&, DynamicLibrary& library) {
    library.free();
    trace::info("Try get module...");
    if (pal::get_module(path, &library.m_handle)) {
        trace::info("Using existed module...");
        return true;
    }
    trace::info("No existed module...");
    if (void* handle = pal::load_library(path); handle != nullptr) {
        library.m_handle = handle;
        library.m_is_first_load = true;
        return true;
    }
    trace::info("No module...");
    trace::verbose("No: '%s'", path.c_str());
    return false;
}

DynamicLibrary DynamicLibrary::load(const std::string& path, const std::string& name) {
    DynamicLibrary library;
    if (!try_load(path, name, library)) {
        throw std::runtime_error("DynamicLibrary::load");
    }
    return library;
}

bool DynamicLibrary::free() {
    if (m_handle == nullptr) {
        return false;
    }
    if (m_can_free) {
        pal::free_library(std::exchange(m_handle, nullptr));
    }
    return true;
}

void* DynamicLibrary::get_symbol(const char* name) const {
    assert(name != nullptr);
    if (m_handle == nullptr) {
        throw std::logic_error("Library was not opened!");
    }
    void* symbol = pal::get_symbol(m_handle, name);
    if (symbol == nullptr) {
        throw std::runtime_error(std::string("No such symbol: ") + name);
    }
    return symbol;
}
