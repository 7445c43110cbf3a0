// The tree from expat's events; see od_node.h.
#include "runtime/native/formats/opendocument/od_node.h"

#include <algorithm>
#include <exception>
#include <memory>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/expat_library.h"

namespace zelmor::embed {

namespace limits = imagework::limits;
using imagework::Failure;
using imagework::PictureError;

namespace {

constexpr char kSeparator = '\n';  // no part of a name or a namespace that a parser hands out
constexpr std::string_view kOasis = "urn:oasis:names:tc:opendocument:xmlns:";

struct KnownPrefix {
    std::string_view name;
    std::string_view prefix;
};
// Namespaces of the format whose prefix is not the word in their name.
constexpr KnownPrefix kOfOasis[] = {
    {"drawing", "draw"}, {"svg-compatible", "svg"}, {"xsl-fo-compatible", "fo"}, {"datastyle", "number"}};
constexpr KnownPrefix kOthers[] = {{"http://www.w3.org/1999/xlink", "xlink"},
                                   {"http://purl.org/dc/elements/1.1/", "dc"},
                                   {"http://www.w3.org/XML/1998/namespace", "xml"},
                                   {"urn:org:documentfoundation:names:experimental:office:xmlns:loext:1.0", "loext"}};

std::string_view prefix_of(std::string_view uri) {
    if (uri.starts_with(kOasis)) {
        const std::string_view word = uri.substr(kOasis.size(), uri.find(':', kOasis.size()) - kOasis.size());
        for (const KnownPrefix& each : kOfOasis) {
            if (each.name == word) {
                return each.prefix;
            }
        }
        return word;
    }
    for (const KnownPrefix& each : kOthers) {
        if (each.name == uri) {
            return each.prefix;
        }
    }
    return "other";
}

// "uri\nname"; the name alone where it has no namespace.
std::string name_of(std::string_view pair) {
    const size_t cut = pair.find(kSeparator);
    if (cut == std::string_view::npos) {
        return std::string(pair);
    }
    return std::string(prefix_of(pair.substr(0, cut))) + ':' + std::string(pair.substr(cut + 1));
}

// What the events build up. An exception cannot pass through the library: it is kept until the library has returned.
struct Building {
    const imagework::Expat& expat;
    XML_Parser parser;
    std::string part;
    OdNode root = {};
    std::vector<OdNode> open = {};
    std::exception_ptr failure = {};
    uint64_t nodes = 0;

    // A node takes many times the memory of its few letters.
    void count(uint64_t more) {
        nodes += more;
        if (nodes > limits::kDrawingNodes) {
            throw PictureError(Failure::kTooLarge, "'" + part + "' has too many elements");
        }
    }

    template <class Step>
    void guarded(Step&& step) noexcept {
        if (failure) {
            return;
        }
        try {
            step();
        } catch (...) {
            failure = std::current_exception();
            expat.stop(parser, XML_FALSE);
        }
    }
};

Building& of(void* data) {
    return *static_cast<Building*>(data);
}

void begin_element(void* data, const char* name, const char** attributes) {
    of(data).guarded([&] {
        Building& building = of(data);
        if (building.open.size() == limits::kDrawingDepth) {
            throw PictureError(Failure::kTooLarge, "the elements of '" + building.part + "' nest too deep");
        }
        OdNode element;
        element.name = name_of(name);
        for (; attributes[0] != nullptr; attributes += 2) {
            element.attributes.emplace_back(name_of(attributes[0]), attributes[1]);
        }
        building.count(1 + element.attributes.size());
        building.open.push_back(std::move(element));
    });
}

void end_element(void* data, const char*) {
    of(data).guarded([&] {
        auto& open = of(data).open;
        OdNode element = std::move(open.back());
        open.pop_back();
        (open.empty() ? of(data).root : open.back().children.emplace_back()) = std::move(element);
    });
}

void add_text(void* data, const char* text, int length) {
    of(data).guarded([&] {
        auto& children = of(data).open.back().children;
        if (children.empty() || !children.back().name.empty()) {
            of(data).count(1);
            children.emplace_back();
        }
        children.back().text.append(text, static_cast<size_t>(length));
    });
}

void refuse_document_type(void* data, const char*, const char*, const char*, int) {
    of(data).guarded([&] {
        throw PictureError(Failure::kDamaged,
                           "'" + of(data).part + "' has a document type, which no OpenDocument file has");
    });
}

}  // namespace

const std::string* OdNode::find(std::string_view attribute) const {
    const auto found =
        std::find_if(attributes.begin(), attributes.end(), [&](const auto& each) { return each.first == attribute; });
    return found != attributes.end() ? &found->second : nullptr;
}

std::string_view OdNode::get(std::string_view attribute) const {
    const std::string* value = find(attribute);
    return value != nullptr ? std::string_view(*value) : std::string_view();
}

const OdNode* OdNode::child(std::string_view of_name) const {
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const OdNode& each) { return each.is(of_name); });
    return found != children.end() ? &*found : nullptr;
}

std::string OdNode::whole_text() const {
    std::string all = text;
    for (const OdNode& each : children) {
        all += each.whole_text();
    }
    return all;
}

OdNode read_od_xml(std::span<const uint8_t> text, const std::string& part) {
    const imagework::ExpatLibrary& library = imagework::expat_library();
    if (!library.loaded) {
        throw PictureError(Failure::kInternal, "the XML library libexpat.so.1 cannot be loaded: " + library.reason);
    }
    const imagework::Expat& expat = library.functions;
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(expat.create(nullptr, kSeparator),
                                                                         expat.release);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    Building building{.expat = expat, .parser = parser.get(), .part = part};
    expat.set_user_data(parser.get(), &building);
    expat.on_element(parser.get(), begin_element, end_element);
    expat.on_text(parser.get(), add_text);
    expat.on_document_type(parser.get(), refuse_document_type);

    const bool good = expat.parse_all(parser.get(), {reinterpret_cast<const char*>(text.data()), text.size()});
    if (building.failure) {
        std::rethrow_exception(building.failure);
    }
    if (!good) {
        throw PictureError(Failure::kDamaged,
                           "'" + part + "' is not well-formed: " + expat.error_in_line(parser.get()));
    }
    return std::move(building.root);
}

}  // namespace zelmor::embed
