// The tree from expat's events, and the values of its attributes; see flat_tree.h.
#include "runtime/native/formats/svg/flat_tree.h"

#include <expat.h>

#include <cassert>
#include <charconv>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

using drawwork::PointD;
constexpr std::string_view kBetween = " \t\r\n,";

[[noreturn]] void throw_unknown(const std::string& what) {
    throw PictureError(Failure::kInternal, "the drawing cannot be taken apart: " + what);
}

struct Building {
    XML_Parser parser;
    FlatTree tree;
    std::vector<FlatNode*> open;
};

void add_style(FlatNode& node, std::string_view style) {
    while (!style.empty()) {
        std::string_view entry = style.substr(0, style.find(';'));
        style.remove_prefix(std::min(entry.size() + 1, style.size()));
        entry.remove_prefix(std::min(entry.find_first_not_of(' '), entry.size()));
        const size_t colon = entry.find(':');
        if (colon != std::string_view::npos) {
            node.attributes.emplace_back(entry.substr(0, colon), entry.substr(colon + 1));
        }
    }
}

void begin_element(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto& building = *static_cast<Building*>(data);
    auto node = std::make_unique<FlatNode>();
    node->name = name;
    node->begin = static_cast<size_t>(XML_GetCurrentByteIndex(building.parser));
    constexpr size_t kUsual = 14;  // a path with fill and stroke
    node->attributes.reserve(kUsual);
    for (size_t i = 0; attributes[i] != nullptr; i += 2) {
        const std::string_view key = attributes[i];
        if (key == "style") {
            add_style(*node, attributes[i + 1]);
        } else {
            node->attributes.emplace_back(key, attributes[i + 1]);
        }
        if (key == "id") {
            building.tree.by_id.emplace(attributes[i + 1], node.get());
        }
    }
    FlatNode* added = node.get();
    if (building.open.empty()) {
        building.tree.root = std::move(node);
    } else {
        building.open.back()->children.push_back(std::move(node));
    }
    building.open.push_back(added);
}

void end_element(void* data, const XML_Char*) {
    auto& building = *static_cast<Building*>(data);
    building.open.back()->end =
        static_cast<size_t>(XML_GetCurrentByteIndex(building.parser) + XML_GetCurrentByteCount(building.parser));
    building.open.pop_back();
}

// The next number; the text goes on behind it. Nothing where there is none.
std::optional<double> next_number(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBetween), text.size()));
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return value;
}

}  // namespace

std::string_view FlatNode::get(std::string_view attribute) const {
    for (const auto& [key, value] : attributes) {
        if (key == attribute) {
            return value;
        }
    }
    return {};
}

double FlatNode::number(std::string_view attribute, double otherwise) const {
    std::string_view text = get(attribute);
    return next_number(text).value_or(otherwise);
}

const FlatNode* FlatTree::target(std::string_view reference) const {
    if (reference.starts_with("url(") && reference.ends_with(")")) {
        reference = reference.substr(4, reference.size() - 5);
    }
    if (!reference.starts_with('#')) {
        return nullptr;
    }
    const auto found = by_id.find(reference.substr(1));
    return found == by_id.end() ? nullptr : found->second;
}

FlatTree flat_tree(std::string_view document) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate(nullptr),
                                                                              &XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    Building building{parser.get(), {}, {}};
    XML_SetUserData(parser.get(), &building);
    XML_SetElementHandler(parser.get(), &begin_element, &end_element);
    if (document.size() > INT32_MAX ||
        XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), XML_TRUE) != XML_STATUS_OK) {
        throw_unknown("it is no XML");
    }
    return std::move(building.tree);
}

std::vector<double> flat_numbers(std::string_view text) {
    std::vector<double> numbers;
    while (const auto number = next_number(text)) {
        numbers.push_back(*number);
    }
    return numbers;
}

drawwork::Affine flat_matrix(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    constexpr std::string_view kMatrix = "matrix(";
    const auto n = text.starts_with(kMatrix) ? flat_numbers(text.substr(kMatrix.size())) : std::vector<double>();
    if (n.size() != 6) {
        throw_unknown("'" + std::string(text) + "' is no matrix");
    }
    return {n[0], n[1], n[2], n[3], n[4], n[5]};
}

drawwork::Outline flat_outline(std::string_view text) {
    drawwork::Outline outline;
    const auto point = [&] {
        const auto x = next_number(text), y = next_number(text);
        if (!x || !y) {
            throw_unknown("a path has too few numbers");
        }
        return PointD{*x, *y};
    };
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(kBetween), text.size()));
        if (text.empty()) {
            break;
        }
        const char letter = text.front();
        text.remove_prefix(1);
        if (letter == 'M') {
            outline.push_back({point(), {}, false});
            continue;
        }
        if (outline.empty() || (letter != 'L' && letter != 'C' && letter != 'Z')) {
            throw_unknown("a path has an unknown part");
        }
        if (letter == 'Z') {
            outline.back().closed = true;
        } else if (letter == 'L') {
            outline.back().line_to(point());
        } else {
            const PointD a = point(), b = point(), c = point();
            outline.back().curve_to(a, b, c);
        }
    }
    // Each closed contour is followed by a mere point where it began.
    std::erase_if(outline, [](const drawwork::Contour& contour) { return contour.segments.empty(); });
    return outline;
}

}  // namespace zelmor::imagework
