// The peer for collections: a std::vector<int32_t> that Python sees as it is, the way pybind11 offers for lists that
// should not be copied at each call.
#include <pybind11/pybind11.h>
#include <pybind11/stl_bind.h>

#include <cstdint>
#include <vector>

using Int32Vector = std::vector<int32_t>;
PYBIND11_MAKE_OPAQUE(Int32Vector)

PYBIND11_MODULE(peer_vector, module) {
    pybind11::bind_vector<Int32Vector>(module, "Int32Vector");
}
