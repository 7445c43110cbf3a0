// Reading points and maps; see od_space.h.
#include "runtime/native/formats/opendocument/od_space.h"

#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/formats/opendocument/od_values.h"

namespace zelmor::embed {

namespace {

constexpr double kUnitsOfPixel = 100 / kPixelsOfMillimeter;

// The words between brackets, which white space or commas separate.
std::vector<std::string_view> words_of(std::string_view text) {
    std::vector<std::string_view> words;
    for (size_t at = 0; (at = text.find_first_not_of(" ,\t\n", at)) != std::string_view::npos;) {
        const size_t end = std::min(text.find_first_of(" ,\t\n", at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

Map3 turn(char axis, double radians) {
    const double sine = std::sin(radians), cosine = std::cos(radians);
    if (axis == 'x') {
        return {{1, 0, 0}, {0, cosine, sine}, {0, -sine, cosine}, {}};
    }
    if (axis == 'y') {
        return {{cosine, 0, -sine}, {0, 1, 0}, {sine, 0, cosine}, {}};
    }
    return {{cosine, sine, 0}, {-sine, cosine, 0}, {0, 0, 1}, {}};
}

Map3 step_of(std::string_view name, const std::vector<std::string_view>& words) {
    const auto number = [&](size_t i, double otherwise) {
        return i < words.size() ? od_number(words[i], otherwise) : otherwise;
    };
    const auto length = [&](size_t i) { return i < words.size() ? od_length3(words[i], 0) : 0.0; };
    if (name.size() == 7 && name.starts_with("rotate")) {
        return turn(name.back(), words.empty() ? 0 : od_angle(words[0], 180 / M_PI) * M_PI / 180);
    }
    if (name == "scale") {
        return {{number(0, 1), 0, 0}, {0, number(1, 1), 0}, {0, 0, number(2, 1)}, {}};
    }
    if (name == "translate") {
        return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {length(0), length(1), length(2)}};
    }
    if (name == "matrix" && words.size() == 12) {
        return {{number(0, 1), number(1, 0), number(2, 0)},
                {number(3, 0), number(4, 1), number(5, 0)},
                {number(6, 0), number(7, 0), number(8, 1)},
                {length(9), length(10), length(11)}};
    }
    return {};
}

}  // namespace

Point3 od_point3(std::string_view text, const Point3& otherwise) {
    const size_t begin = text.find('('), end = text.find(')');
    if (begin == std::string_view::npos || end == std::string_view::npos || end < begin) {
        return otherwise;
    }
    const auto words = words_of(text.substr(begin + 1, end - begin - 1));
    if (words.size() != 3) {
        return otherwise;
    }
    return {od_length3(words[0], 0), od_length3(words[1], 0), od_length3(words[2], 0)};
}

double od_length3(std::string_view text, double otherwise) {
    if (text.empty()) {
        return otherwise;
    }
    const bool has_unit = text.find_last_not_of("0123456789.+-eE") != std::string_view::npos;
    return has_unit ? od_length(text, otherwise / kUnitsOfPixel) * kUnitsOfPixel : od_number(text, otherwise);
}

Map3 od_transform3(std::string_view text) {
    Map3 map;
    while (true) {
        const size_t begin = text.find('(');
        const size_t end = text.find(')');
        if (begin == std::string_view::npos || end == std::string_view::npos || end < begin) {
            return map;
        }
        std::string name(text.substr(0, begin));
        std::erase_if(name, [](char c) { return c == ' ' || c == ',' || c == '\n' || c == '\t'; });
        map = map.then(step_of(name, words_of(text.substr(begin + 1, end - begin - 1))));
        text.remove_prefix(end + 1);
    }
}

}  // namespace zelmor::embed
