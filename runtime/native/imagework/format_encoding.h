// The settings that a file of one format is saved with: a value that holds the structure of any format.
//
// A format's structure stands in the format's own folder, for example formats/png/png_encoding.h, and names its format:
// `static constexpr Format kFormat`. This header knows none of them, so that a new format changes no common header. The
// structure is found by that name and not by run-time type information, which shared objects do not share.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_ENCODING_H

#include <cassert>
#include <concepts>
#include <memory>
#include <utility>

#include "generated/formats/format_list.h"

namespace zelmor::imagework {

template <class E>
concept EncodingStructure = requires {
    { E::kFormat } -> std::convertible_to<Format>;
};

class FormatEncoding {
 public:
    FormatEncoding() noexcept = default;  // the settings of no format
    template <EncodingStructure E>
    FormatEncoding(E settings) : m_held(std::make_unique<HeldSettings<E>>(std::move(settings))) {}

    FormatEncoding(const FormatEncoding& other) : m_held(other.m_held == nullptr ? nullptr : other.m_held->copy()) {}
    FormatEncoding(FormatEncoding&& other) noexcept = default;
    FormatEncoding& operator=(const FormatEncoding& other) { return *this = FormatEncoding(other); }
    FormatEncoding& operator=(FormatEncoding&& other) noexcept = default;
    ~FormatEncoding() = default;

    // kUnknown where there are none.
    Format format() const { return m_held == nullptr ? Format::kUnknown : m_held->format; }

    // The structure; null where the settings are those of another format.
    template <EncodingStructure E>
    E* as() {
        return format() == E::kFormat ? &static_cast<HeldSettings<E>&>(*m_held).settings : nullptr;
    }
    template <EncodingStructure E>
    const E* as() const {
        return format() == E::kFormat ? &static_cast<const HeldSettings<E>&>(*m_held).settings : nullptr;
    }
    // The structure of the format that the settings are known to be of.
    template <EncodingStructure E>
    E& get() {
        assert(format() == E::kFormat);
        return *as<E>();
    }
    template <EncodingStructure E>
    const E& get() const {
        assert(format() == E::kFormat);
        return *as<E>();
    }

 private:
    struct Held {
        explicit Held(Format its_format) : format(its_format) {}
        Held(const Held&) = default;
        virtual ~Held() = default;
        virtual std::unique_ptr<Held> copy() const = 0;
        const Format format;
    };
    template <class E>
    struct HeldSettings final : Held {
        explicit HeldSettings(E its_settings) : Held(E::kFormat), settings(std::move(its_settings)) {}
        std::unique_ptr<Held> copy() const override { return std::make_unique<HeldSettings>(*this); }
        E settings;
    };

    std::unique_ptr<Held> m_held;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_ENCODING_H
