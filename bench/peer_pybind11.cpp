// The peer that a C++ programmer would pick: the measured members as native C++ classes under pybind11.
//
// Nothing managed stands behind it; the work of each member is done on the spot. It shows what a binding library
// asks for a call, not what a bridge does.
#include <pybind11/pybind11.h>

#include <array>
#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

struct Size;

struct Point {
    int x = 0;
    int y = 0;
    Point() = default;
    Point(int x, int y) : x(x), y(y) {}
    explicit Point(const Size& size);
    explicit Point(int dword) : x(static_cast<int16_t>(dword)), y(static_cast<int16_t>(dword >> 16)) {}
};

struct Size {
    int width = 0;
    int height = 0;
    Size() = default;
    Size(int width, int height) : width(width), height(height) {}
    explicit Size(const Point& point) : width(point.x), height(point.y) {}
};

Point::Point(const Size& size) : x(size.width), y(size.height) {}

struct Rectangle {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool contains(int px, int py) const { return x <= px && px < x + width && y <= py && py < y + height; }
    bool contains(const Point& point) const { return contains(point.x, point.y); }
    bool contains(const Rectangle& other) const {
        return x <= other.x && other.x + other.width <= x + width && y <= other.y &&
               other.y + other.height <= y + height;
    }
};

struct Color {
    uint32_t argb = 0;

    static Color from_name(const std::string& name) {
        struct Named {
            std::string_view name;
            uint32_t argb;
        };
        constexpr std::array<Named, 6> kNamed = {{{"black", 0xFF000000},
                                                  {"blue", 0xFF0000FF},
                                                  {"gray", 0xFF808080},
                                                  {"green", 0xFF008000},
                                                  {"red", 0xFFFF0000},
                                                  {"white", 0xFFFFFFFF}}};
        for (const Named& named : kNamed) {
            bool equal = named.name.size() == name.size();
            for (size_t i = 0; equal && i < name.size(); i++) {
                equal = std::tolower(static_cast<unsigned char>(name[i])) == named.name[i];
            }
            if (equal) {
                return {named.argb};
            }
        }
        return {};
    }
};

}  // namespace

PYBIND11_MODULE(peer_pybind11, module) {
    namespace py = pybind11;
    py::class_<Point> point(module, "Point");
    py::class_<Size> size(module, "Size");
    point.def(py::init<int, int>(), py::arg("x"), py::arg("y"))
        .def(py::init<const Size&>(), py::arg("size"))
        .def(py::init<int>(), py::arg("dw"))
        .def(py::init<>());
    size.def(py::init<const Point&>(), py::arg("point"))
        .def(py::init<int, int>(), py::arg("width"), py::arg("height"))
        .def(py::init<>())
        .def_property(
            "width", [](const Size& self) { return self.width; }, [](Size& self, int value) { self.width = value; });
    py::class_<Rectangle>(module, "Rectangle")
        .def(py::init([](int x, int y, int width, int height) {
            return Rectangle{x, y, width, height};
        }))
        .def("contains", py::overload_cast<int, int>(&Rectangle::contains, py::const_), py::arg("x"), py::arg("y"))
        .def("contains", py::overload_cast<const Point&>(&Rectangle::contains, py::const_), py::arg("point"))
        .def("contains", py::overload_cast<const Rectangle&>(&Rectangle::contains, py::const_), py::arg("rect"));
    py::class_<Color>(module, "Color").def_static("from_name", &Color::from_name, py::arg("name"));
}
