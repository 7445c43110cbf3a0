// A canvas that keeps what a page of an OpenDocument drawing asks of it.
#ifndef ZELMOR_TESTS_UNIT_FORMATS_OPENDOCUMENT_CALLS_H
#define ZELMOR_TESTS_UNIT_FORMATS_OPENDOCUMENT_CALLS_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_drawing.h"
#include "runtime/native/formats/opendocument/od_painter.h"

namespace zelmor::embed {

using drawwork::Argb;
using drawwork::Blend;
using drawwork::Extend;
using drawwork::FillRule;
using drawwork::Paint;
using drawwork::Stroke;
using drawwork::StrokeCap;
using drawwork::StrokeJoin;

struct Call {
    char kind;  // 'f'ill, 's'troke, 'c'lip, 't'ext, '(' and ')' around a group
    Outline outline;
    FillRule rule = FillRule::kAlternate;
    Paint paint;
    Stroke stroke;
    double opacity = 1;
    drawwork::TextLayout layout = {};
    Affine placing = {};
};

// A page that keeps what is asked of it.
class Calls final : public drawwork::Canvas {
 public:
    explicit Calls(bool screen) : m_screen(screen) {}
    void save() override {}
    void restore() override {}
    void unclip() override {}
    void clip(const Outline& outline, FillRule rule, bool) override { all.push_back({'c', outline, rule, {}, {}}); }
    void fill(const Outline& outline, FillRule rule, const Paint& paint, bool) override {
        all.push_back({'f', outline, rule, paint, {}});
    }
    void stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool) override {
        all.push_back({'s', outline, FillRule::kAlternate, paint, stroke});
    }
    void clear(Argb) override {}
    void text(const drawwork::TextLayout& layout, const Affine& placing, const Paint& paint) override {
        all.push_back({'t', {}, FillRule::kAlternate, paint, {}, 1, layout, placing});
    }
    void begin_group() override { all.push_back({'(', {}, FillRule::kAlternate, {}, {}}); }
    void end_group(double opacity, Blend) override { all.push_back({')', {}, FillRule::kAlternate, {}, {}, opacity}); }
    bool is_screen() const override { return m_screen; }

    std::vector<Call> all;

 private:
    bool m_screen;
};

// A picture of four by two pixels, whatever the bytes are. Each letter is half as wide as high, and four fifths of a
// line stand above its baseline.
class Services final : public OdServices {
 public:
    drawwork::TextExtent measure(const drawwork::TextLayout& layout) override {
        return {layout.size / 2 * static_cast<double>(layout.text.size()), layout.size, 0, 0};
    }
    Outline outline_of(const drawwork::TextLayout&) override { return {}; }
    std::shared_ptr<const OdPicture> picture(const std::vector<uint8_t>&) override {
        return std::make_shared<OdPicture>(OdPicture{std::vector<Argb>(8, 0xFF123456), 4, 2});
    }
    bool draw_picture(drawwork::Canvas&, const std::vector<uint8_t>&, const Affine&) override { return false; }
};

inline std::vector<Call> drawn_page(const std::string& attributes, const std::string& shape,
                                    const std::string& definitions = "", bool screen = true) {
    const std::string text =
        R"(<?xml version="1.0"?><office:document
        xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
        xmlns:draw="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0"
        xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0"
        xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0"
        xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0"
        xmlns:table="urn:oasis:names:tc:opendocument:xmlns:table:1.0"
        xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"
        xmlns:loext="urn:org:documentfoundation:names:experimental:office:xmlns:loext:1.0"
        office:mimetype="application/vnd.oasis.opendocument.graphics"><office:styles>)" +
        definitions + R"(</office:styles><office:automatic-styles><style:page-layout style:name="PM">
        <style:page-layout-properties fo:page-width="100px" fo:page-height="80px"/></style:page-layout>
        <style:style style:name="s" style:family="graphic"><style:graphic-properties )" +
        attributes + R"(/></style:style></office:automatic-styles><office:master-styles>
        <style:master-page style:name="M" style:page-layout-name="PM"/></office:master-styles>
        <office:body><office:drawing><draw:page draw:master-page-name="M">)" +
        shape + "</draw:page></office:drawing></office:body></office:document>";
    OdDocument document(std::vector<uint8_t>(text.begin(), text.end()));
    Services services;
    Calls canvas(screen);
    OdPictures pictures;
    OdCanvas target{.canvas = canvas, .document = document, .services = services, .pictures = pictures};
    draw_od_page(target, 0, {});
    return canvas.all;
}

inline std::string kinds(const std::vector<Call>& calls) {
    std::string found;
    for (const Call& call : calls) {
        found += call.kind;
    }
    return found;
}

inline const Call& only(const std::vector<Call>& calls) {
    EXPECT_EQ(calls.size(), 1U);
    return calls.at(0);
}

inline void expect_box(const RectD& box, double x, double y, double width, double height) {
    EXPECT_NEAR(box.x, x, 1e-6);
    EXPECT_NEAR(box.y, y, 1e-6);
    EXPECT_NEAR(box.width, width, 1e-6);
    EXPECT_NEAR(box.height, height, 1e-6);
}

inline void expect_point(PointD found, PointD expected) {
    EXPECT_NEAR(found.x, expected.x, 1e-6);
    EXPECT_NEAR(found.y, expected.y, 1e-6);
}

}  // namespace zelmor::embed

#endif  // ZELMOR_TESTS_UNIT_FORMATS_OPENDOCUMENT_CALLS_H
