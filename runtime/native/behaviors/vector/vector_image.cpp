// Vector images: size, pages, and the changes of the page; see vector_image.h.
#include "runtime/native/behaviors/vector/vector_image.h"

#include <cassert>
#include <cmath>
#include <string_view>

#include "runtime/native/behaviors/images/format_classes.h"
#include "runtime/native/behaviors/images/resize_types.h"
#include "runtime/native/behaviors/vector/vector_classes.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

using drawwork::Affine;
using drawwork::RectD;

namespace {

// Bits of a pixel of a rendered image.
constexpr int32_t kRenderedBits = 32;

// A size of whole pixels that a calculation missed by a rounding error stays what it is.
int32_t whole_pixels(double size) {
    return static_cast<int32_t>(std::ceil(size - 1e-4));
}

}  // namespace

VectorImageObject::VectorImageObject(const TypeInfo& type, std::shared_ptr<Drawing> drawing, double width,
                                     double height)
    : ImageBase(type) {
    set_drawing(std::move(drawing), width, height);
}

VectorImageObject::~VectorImageObject() {
    release_pages();
}

SizeFValue VectorImageObject::size_f() const {
    if (!m_pages.empty()) {
        return m_pages.front()->size_f();
    }
    return {static_cast<float>(m_width), static_cast<float>(m_height)};
}
int32_t VectorImageObject::image_width() const {
    return m_pages.empty() ? whole_pixels(m_width) : m_pages.front()->image_width();
}
int32_t VectorImageObject::image_height() const {
    return m_pages.empty() ? whole_pixels(m_height) : m_pages.front()->image_height();
}
int32_t VectorImageObject::image_bits() const {
    return kRenderedBits;
}
FileFormat VectorImageObject::image_format() const {
    if (m_format) {
        return *m_format;
    }
    return m_container != nullptr ? m_container->image_format() : vector_format_of(type());
}

void VectorImageObject::set_drawing(std::shared_ptr<Drawing> drawing, double width, double height) {
    assert(width >= 0 && height >= 0);
    m_drawing = std::move(drawing);
    m_width = m_first_width = width;
    m_height = m_first_height = height;
    m_view = {};
}

Affine VectorImageObject::placing() const {
    const RectD shown = m_drawing != nullptr ? m_drawing->bounds() : RectD{0, 0, m_first_width, m_first_height};
    if (!(shown.width > 0) || !(shown.height > 0)) {
        return m_view;
    }
    return Affine::translation(-shown.x, -shown.y)
        .then(Affine::scaling(m_first_width / shown.width, m_first_height / shown.height))
        .then(m_view);
}

bool VectorImageObject::is_changed() const {
    return m_view != Affine{} || m_width != m_first_width || m_height != m_first_height;
}

void VectorImageObject::resize_image(int32_t new_width, int32_t new_height, api::ResizeType resize_type) {
    require_resize_type(resize_type);
    for (const Ref<VectorImageObject>& page : m_pages) {
        page->resize_image(new_width, new_height, resize_type);
    }
    if (!m_pages.empty()) {
        return;
    }
    if (const auto placement = placement_of(resize_type)) {
        m_view = m_view.then(Affine::translation((new_width - m_width) * placement->across / 2.0,
                                                 (new_height - m_height) * placement->down / 2.0));
    } else {
        if (!(m_width > 0) || !(m_height > 0)) {
            throw_invalid_operation("An image without a size cannot be scaled.");
        }
        m_view = m_view.then(Affine::scaling(new_width / m_width, new_height / m_height));
    }
    m_width = new_width;
    m_height = new_height;
}

void VectorImageObject::turn_image(int quarter_turns, bool mirror_x, bool mirror_y) {
    for (const Ref<VectorImageObject>& page : m_pages) {
        page->turn_image(quarter_turns, mirror_x, mirror_y);
    }
    for (int turn = 0; turn < (quarter_turns & 3); ++turn) {
        m_view = m_view.then({0, 1, -1, 0, m_height, 0});
        std::swap(m_width, m_height);
    }
    if (mirror_x) {
        m_view = m_view.then({-1, 0, 0, 1, m_width, 0});
    }
    if (mirror_y) {
        m_view = m_view.then({1, 0, 0, -1, 0, m_height});
    }
}

void VectorImageObject::resize_canvas(const RectangleValue& area) {
    for (const Ref<VectorImageObject>& page : m_pages) {
        page->resize_canvas(area);
    }
    m_view = m_view.then(Affine::translation(-area.x, -area.y));
    m_width = area.width;
    m_height = area.height;
}

void VectorImageObject::add_page(Ref<VectorImageObject> page) {
    assert(page && page->m_container == nullptr && page->m_pages.empty());
    track();
    page->m_container = this;
    m_pages.push_back(std::move(page));
}

std::vector<Ref<VectorImageObject>> VectorImageObject::shown_pages() {
    return m_pages.empty() ? std::vector<Ref<VectorImageObject>>{Ref<VectorImageObject>(this)} : m_pages;
}

void VectorImageObject::release_pages() {
    for (const Ref<VectorImageObject>& page : m_pages) {
        if (page) {
            page->m_container = nullptr;
        }
    }
}

void VectorImageObject::on_dispose() {
    for (const Ref<VectorImageObject>& page : std::vector(m_pages)) {
        page->dispose();
    }
    release_pages();
    m_pages.clear();
    m_drawing.reset();
    ImageBase::on_dispose();
}

void VectorImageObject::references(ReferenceVisitor& visitor) {
    ImageBase::references(visitor);
    if (visitor.takes()) {
        release_pages();
    }
    visitor(m_pages);
}

}  // namespace zelmor::embed
