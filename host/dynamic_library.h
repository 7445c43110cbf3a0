// A shared library held open by this process, which knows whether it opened the library or found it already loaded.
// Extension modules that were built independently agree in this way: the one that opened the library starts and stops
// the runtime.
#ifndef ZELMOR_HOST_DYNAMIC_LIBRARY_H
#define ZELMOR_HOST_DYNAMIC_LIBRARY_H

#include <string>

class DynamicLibrary {
 public:
    DynamicLibrary() = default;
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    ~DynamicLibrary();

    /// Finds the library in the process, or opens it; `library` holds it. The path alone identifies it.
    static bool try_load(const std::string& path, const std::string& name, DynamicLibrary& library);

    /// As try_load, into a new object. Throws std::runtime_error if there is no such library.
    static DynamicLibrary load(const std::string& path, const std::string& name);

    /// True if a library was held. It is closed only if it may be freed; otherwise nothing changes.
    bool free();

    /// The address of an exported symbol. Throws std::logic_error if no library is held, and std::runtime_error if
    /// the library has no such symbol.
    void* get_symbol(const char* name) const;

    void set_can_free(bool can_free) { m_can_free = can_free; }
    bool is_first_load() const { return m_is_first_load; }
    bool is_held() const { return m_handle != nullptr; }

 private:
    bool m_can_free = true;  // a setting of this holder: a move leaves it where it is
    void* m_handle = nullptr;
    bool m_is_first_load = false;
};

#endif  // ZELMOR_HOST_DYNAMIC_LIBRARY_H
