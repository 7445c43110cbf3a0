// Reading numbers of SVG; see svg_numbers.h.
#include "runtime/native/formats/svg/svg_numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numbers>
#include <system_error>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::imagework {
namespace {

constexpr std::string_view kSeparators = " \t\r\n,";

bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The next number; the text goes on behind it. A number that is too large for the type counts as infinite.
std::optional<double> take_number(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kSeparators), text.size()));
    std::string_view digits = text;
    if (digits.starts_with('+')) {
        digits.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    // from_chars tells of numbers too large and too small alike.
    return error == std::errc::result_out_of_range ? HUGE_VAL : value;
}

}  // namespace

std::optional<double> svg_number(std::string_view text) {
    return take_number(text);
}

std::vector<double> svg_numbers(std::string_view text) {
    std::vector<double> numbers;
    while (const auto number = take_number(text)) {
        numbers.push_back(*number);
    }
    return numbers;
}

std::string lower_case(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return result;
}

double svg_transform_scale(std::string_view text) {
    double scale = 1;
    for (size_t open = text.find('('); open != std::string_view::npos; open = text.find('(')) {
        // What stands before it ends with the name, behind the transformation before.
        std::string_view name = text.substr(0, open);
        name = name.substr(0, name.find_last_not_of(" \t\r\n") + 1);
        name.remove_prefix(std::min(name.find_last_of(" \t\r\n,)") + 1, name.size()));
        text.remove_prefix(open + 1);
        const std::vector<double> n = svg_numbers(text);
        if (name.starts_with("matrix") && n.size() == 6) {
            scale *= drawwork::Affine{n[0], n[1], n[2], n[3]}.largest_scale();
        } else if (name.starts_with("scale") && !n.empty()) {
            scale *= std::max(std::abs(n[0]), std::abs(n.back()));
        } else if (name.starts_with("skew") && !n.empty()) {
            scale *= 1 + std::abs(std::tan(n[0] * std::numbers::pi / 180));
        }
    }
    return scale;
}

double svg_path_length(std::string_view path) {
    double length = 0;
    double last[2] = {0, 0};  // of both axes
    char command = 'M';
    size_t place = 0;  // of the number in its command
    while (!path.empty()) {
        if (is_letter(path.front())) {
            command = path.front();
            place = 0;
            path.remove_prefix(1);
            continue;
        }
        const auto number = take_number(path);
        if (!number) {
            path.remove_prefix(std::min<size_t>(1, path.size()));
            continue;
        }
        const char kind = static_cast<char>(command | 0x20);
        const size_t count = kind == 'a' ? 7 : 2;  // numbers; others come in pairs, or are all of one axis
        if (kind == 'a' && place < 5) {
            length += place < 2 ? 2 * std::numbers::pi * std::abs(*number) : 0;  // a radius; then turn and flags
        } else if (command == kind) {
            length += std::abs(*number);
        } else {
            const size_t axis = kind == 'v' ? 1 : kind == 'h' ? 0 : (place + (kind == 'a' ? 1 : 0)) % 2;
            length += std::abs(*number - last[axis]);
            last[axis] = *number;
        }
        place = (place + 1) % count;
    }
    return length;
}

}  // namespace zelmor::imagework
