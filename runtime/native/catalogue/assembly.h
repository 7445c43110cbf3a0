// The assemblies that the runtime answers for, each the managed side of one extension module.
#ifndef ZELMOR_RUNTIME_NATIVE_CATALOGUE_ASSEMBLY_H
#define ZELMOR_RUNTIME_NATIVE_CATALOGUE_ASSEMBLY_H

#include <optional>
#include <string_view>

namespace zelmor::embed {

enum class Assembly : int { kPyGc, kPyCore, kPyReflection, kPyIo, kPyDrawing, kImaging };
constexpr int kAssemblyCount = 6;
const char* assembly_name(Assembly assembly);                           // "WrpInterop.Zelmor.Imaging"
std::optional<Assembly> find_assembly(std::string_view assembly_name);  // nothing for a name that is not ours

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CATALOGUE_ASSEMBLY_H
