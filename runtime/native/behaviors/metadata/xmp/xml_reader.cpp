// The tree from expat's events; see xml_reader.h.
#include "runtime/native/behaviors/metadata/xmp/xml_reader.h"

#include <exception>
#include <memory>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/expat_library.h"

namespace zelmor::embed {

namespace {

namespace limits = imagework::limits;

constexpr char kSeparator = '\n';  // no part of a name or a namespace that a parser hands out

const imagework::Expat& expat() {
    const imagework::ExpatLibrary& library = imagework::expat_library();
    if (!library.loaded) {
        throw ManagedException("DllNotFoundException",
                               "The XML library libexpat.so.1 cannot be loaded: " + library.reason + ".");
    }
    return library.functions;
}

// "uri\nname\nprefix"; the name alone where it has no namespace.
XmlName split(std::string_view triplet) {
    const size_t first = triplet.find(kSeparator);
    if (first == std::string_view::npos) {
        return {{}, {}, std::string(triplet)};
    }
    const size_t second = triplet.find(kSeparator, first + 1);
    XmlName name{std::string(triplet.substr(0, first)), {}, std::string(triplet.substr(first + 1, second - first - 1))};
    if (second != std::string_view::npos) {
        name.prefix = triplet.substr(second + 1);
    }
    return name;
}

// What the events build up. An exception cannot pass through the library: it is kept until the library has returned.
struct Building {
    XML_Parser parser = nullptr;
    XmlDocument document = {};
    std::vector<XmlElement> open = {};
    std::exception_ptr failure = {};
    size_t elements = 0;  // and their attributes

    // An element takes many times the memory of its few letters.
    void count_one() {
        if (++elements > limits::kXmpElements) {
            throw ManagedException("XmlException", "There are too many elements and attributes.");
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
            expat().stop(parser, XML_FALSE);
        }
    }
};

Building& of(void* data) {
    return *static_cast<Building*>(data);
}

void begin_element(void* data, const char* name, const char** attributes) {
    of(data).guarded([&] {
        if (of(data).open.size() == limits::kXmpDepth) {
            throw ManagedException("XmlException", "The elements nest too deep.");
        }
        of(data).count_one();
        XmlElement element{split(name), {}, {}, {}};
        for (; attributes[0] != nullptr; attributes += 2) {
            of(data).count_one();
            element.attributes.emplace_back(split(attributes[0]), attributes[1]);
        }
        of(data).open.push_back(std::move(element));
    });
}

void end_element(void* data, const char*) {
    of(data).guarded([&] {
        auto& open = of(data).open;
        XmlElement element = std::move(open.back());
        open.pop_back();
        (open.empty() ? of(data).document.root : open.back().children.emplace_back()) = std::move(element);
    });
}

void add_text(void* data, const char* text, int length) {
    of(data).guarded([&] { of(data).open.back().text.append(text, static_cast<size_t>(length)); });
}

void add_instruction(void* data, const char* target, const char* content) {
    of(data).guarded([&] { of(data).document.instructions.emplace_back(target, content); });
}

void refuse_document_type(void* data, const char*, const char*, const char*, int) {
    of(data).guarded([] { throw ManagedException("XmlException", "A document type is not allowed in XMP."); });
}

struct Release {
    void operator()(XML_Parser parser) const { expat().release(parser); }
};

}  // namespace

XmlDocument read_xml(std::span<const std::byte> text) {
    if (text.size() > limits::kXmpBytes) {
        throw ManagedException("XmlException", "The XMP packet is too large.");
    }
    const imagework::Expat& library = expat();
    const std::unique_ptr<XML_ParserStruct, Release> parser(library.create(nullptr, kSeparator));
    if (!parser) {
        throw std::bad_alloc();
    }
    Building building{parser.get()};
    library.return_triplets(parser.get(), 1);
    library.set_user_data(parser.get(), &building);
    library.on_element(parser.get(), begin_element, end_element);
    library.on_text(parser.get(), add_text);
    library.on_instruction(parser.get(), add_instruction);
    library.on_document_type(parser.get(), refuse_document_type);

    const bool good = library.parse_all(parser.get(), {reinterpret_cast<const char*>(text.data()), text.size()});
    if (building.failure) {
        std::rethrow_exception(building.failure);
    }
    if (!good) {
        throw ManagedException("XmlException",
                               "The XMP packet is not well-formed: " + library.error_in_line(parser.get()) + ".");
    }
    return std::move(building.document);
}

}  // namespace zelmor::embed
