// The image object; see image_object.h.
#include "runtime/native/behaviors/images/image_object.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/behaviors/formats/gif_blocks.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::embed {

using imagework::Argb;

ImageObject::ImageObject(std::unique_ptr<imagework::Picture> picture, imagework::FileFacts facts)
    : ImageObject(image_type_for(facts), std::move(picture), std::move(facts)) {}

ImageObject::ImageObject(const TypeInfo& type, std::unique_ptr<imagework::Picture> picture, imagework::FileFacts facts)
    : ImageBase(type), m_picture(std::move(picture)), m_facts(std::move(facts)) {
    track(static_cast<uint64_t>(std::max<int64_t>(0, m_facts.width * m_facts.height)) * 4);
    if (m_picture != nullptr) {
        m_form_of_facts = m_picture->form();
    }
    if (m_facts.transparent_color) {
        set_property(*this, "HasTransparentColor", true);
        set_property(*this, "TransparentColor", box(ColorValue::from_argb(*m_facts.transparent_color)));
    }
    const FormatMembers* members = m_facts.encoding ? members_of(m_facts.encoding->format()) : nullptr;
    if (members != nullptr && members->take_file != nullptr) {
        members->take_file(*this);
    }
}

ImageObject& detail::Arg<ImageObject&>::read(Handle value) {
    ManagedObject& object = require_object(value);
    if (auto* image = dynamic_cast<ImageObject*>(&object)) {
        return *image;
    }
    if (dynamic_cast<ImageBase*>(&object) != nullptr) {
        throw_not_supported(std::string("Working on a ") + object.type().name + ", which has no pixels,");
    }
    throw_invalid_cast(object.type().full_name, ImageObject::kManagedName);
}

int32_t ImageObject::image_width() const {
    if (m_picture == nullptr && m_file_frame.source) {
        require_live();
        return static_cast<int32_t>(m_facts.width);
    }
    return frame_count() == 0 ? static_cast<int32_t>(m_facts.width) : picture().width();
}
int32_t ImageObject::image_height() const {
    if (m_picture == nullptr && m_file_frame.source) {
        require_live();
        return static_cast<int32_t>(m_facts.height);
    }
    return frame_count() == 0 ? static_cast<int32_t>(m_facts.height) : picture().height();
}

int32_t ImageObject::image_bits() const {
    if (m_frames && m_active < m_frames->size()) {
        return m_frames->frame(m_active)->image_bits();
    }
    if (m_picture == nullptr || m_picture->form() == m_form_of_facts) {
        return m_facts.bits_per_pixel;
    }
    return m_picture->form().bits * m_picture->form().bands();
}

void ImageObject::set_image_bits(int32_t bits) {
    if (m_frames) {
        for (const Ref<ImageObject>& frame : frames()) {
            frame->set_image_bits(bits);
        }
        return;
    }
    m_facts.bits_per_pixel = bits;
    m_form_of_facts = m_picture->form();
}

std::vector<Argb> ImageObject::palette() const {
    const imagework::Picture& own = picture();
    if (!own.palette().empty()) {
        return {own.palette().begin(), own.palette().end()};
    }
    return m_offered_palette.empty() || !own.has_only(m_offered_palette) ? std::vector<Argb>() : m_offered_palette;
}

ImageObject::~ImageObject() {
    release_frames();
}

// Metadata are shared with copies of the image; they hold no image.
void ImageObject::references(ReferenceVisitor& visitor) {
    ImageBase::references(visitor);
    if (visitor.takes() && m_frames) {
        stop_reclaiming();
        m_frames->leave_image();
    }
    visitor(m_frames);
}

void ImageObject::stop_reclaiming() {
    if (m_source_options.memory) {
        m_source_options.memory->set_reclaim({});
    }
    m_in_use.clear();
}

void ImageObject::release_frames() {
    if (m_frames) {
        stop_reclaiming();
        m_frames->leave_image();
    }
    m_frames = nullptr;
}

imagework::Picture& ImageObject::picture() const {
    require_live();
    if (!m_frames) {
        if (m_picture == nullptr && m_file_frame.source) {
            decode();
        }
        if (m_container != nullptr && m_file_frame.source) {
            m_container->note_use(*this);
        }
        return *m_picture;
    }
    if (m_active >= m_frames->size()) {
        throw_invalid_operation("The image has no frames.");
    }
    return m_frames->frame(m_active)->picture();
}

void ImageObject::set_picture(std::unique_ptr<imagework::Picture> picture) {
    require_live();
    if (!m_frames) {
        m_picture = std::move(picture);
    } else if (m_active < m_frames->size()) {
        m_frames->frame(m_active)->set_picture(std::move(picture));
    } else {
        throw_invalid_operation("The image has no frames.");
    }
}

ImageObject* ImageObject::active_frame_object() const {
    return m_frames && m_active < m_frames->size() ? m_frames->frame(m_active).get() : nullptr;
}

bool ImageObject::is_container() const {
    static const TypeInfo& container = require_type(api::RasterCachedMultipageImage::kType.name);
    return is_assignable(container, type());
}

size_t ImageObject::frame_count() const {
    require_live();
    if (m_frames) {
        return m_frames->size();
    }
    if (m_file_frames) {
        return m_file_frames->count();
    }
    return 1;
}

const Ref<FrameStore>& ImageObject::frame_store() {
    require_live();
    if (m_frames) {
        return m_frames;
    }
    if (m_file_frames) {
        adopt_file_frames();
        return m_frames;
    }
    Ref<ImageObject> only = make_frame(std::move(m_picture), m_facts);
    only->duration = duration;
    pass_description(*only);
    make_container();
    m_frames->insert(0, std::move(only));
    return m_frames;
}

// Each page has metadata of its own; those of an animation describe it as a whole.
void ImageObject::pass_description(ImageObject& first) {
    if (has_pages(m_facts.format)) {
        pass_metadata(*this, first);
    }
}

void ImageObject::make_container() {
    m_frames = make_ref<FrameStore>(*this);
    m_picture.reset();
}

void ImageObject::set_file_frames(imagework::SharedFrames frames, const imagework::DecodeOptions& options) {
    m_file_frames = std::move(frames);
    m_file_frame = {m_file_frames, 0};
    m_source_options = options;
    m_file_still = m_file_frames->still();
}

const imagework::Picture* ImageObject::still() const {
    require_live();
    if (m_file_still != nullptr) {
        m_still = image_backend().decode_frame(m_file_still, 0, m_source_options);
        m_file_still.reset();
    }
    return m_still.get();
}

void ImageObject::set_still(std::unique_ptr<imagework::Picture> picture) {
    require_live();
    m_still = std::move(picture);
    m_file_still.reset();
}

namespace {

std::vector<GifExtension> extensions_of(const std::vector<std::vector<uint8_t>>& blocks) {
    std::vector<GifExtension> result;
    for (const auto& bytes : blocks) {
        Ref<ManagedObject> block = gif_block_of_bytes(bytes);
        auto as_read = bytes_of_gif_block(*block);
        result.push_back({std::move(block), bytes, std::move(as_read)});
    }
    return result;
}

}  // namespace

Ref<ImageObject> ImageObject::frame_of_file(const TypeInfo& type, const imagework::SharedFrames& source, size_t index,
                                            const imagework::DecodeOptions& options) {
    imagework::FrameHeader header = source->header(index);
    Ref<ImageObject> frame = make_ref<ImageObject>(type, nullptr, std::move(header.facts));
    frame->duration = header.duration;
    frame->m_file_frame = {source, index};
    frame->m_source_options = options;
    frame->gif.control = header.control.value_or(imagework::GifControl{});
    frame->gif.transparent_of_file = frame->gif.control.transparent;
    frame->gif.blocks_before = extensions_of(header.blocks_before);
    if (const imagework::PageDirectory page = source->directory(index); page.file != nullptr) {
        attach_metadata(*frame, keep_metadata(page.file, page.at), imagework::kDefaultResolution);
    }
    return frame;
}

// The image's own picture becomes that of the first frame.
void ImageObject::adopt_file_frames() {
    const imagework::SharedFrames source = m_file_frames;
    gif.blocks_behind = extensions_of(source->header(source->count() - 1).blocks_behind);
    auto store = make_ref<FrameStore>(*this, frame_type_for(type()), source, m_source_options);
    const Ref<ImageObject> first = store->frame(0);
    if (m_picture != nullptr) {
        first->m_form_of_facts = m_picture->form();
        first->m_picture = std::move(m_picture);
    }
    if (duration != 0) {
        first->duration = duration;
    }
    pass_description(*first);
    m_frames = std::move(store);
    m_file_frames.reset();
    m_file_frame = {};
    // A step may hold on to two pictures.
    assert(m_source_options.memory != nullptr);
    m_source_options.memory->set_reclaim([this] { let_frames_go(2); });
}

void ImageObject::decode() const {
    using imagework::Failure;
    using imagework::PictureError;
    try {
        m_picture = image_backend().decode_frame(m_file_frame.source, m_file_frame.index, m_source_options);
    } catch (const PictureError& error) {
        const bool of_file = error.kind() == Failure::kDamaged || error.kind() == Failure::kTooLarge;
        if (!of_file || m_source_options.subject.empty()) {
            throw;
        }
        throw PictureError(Failure::kDamaged, m_source_options.subject + ": " + error.what());
    }
    m_form_of_facts = m_picture->form();
}

bool ImageObject::is_decoded() const {
    if (!m_frames) {
        return !m_file_frames || m_file_frames->count() == 1 ? m_picture != nullptr && m_picture->is_decoded() : false;
    }
    for (size_t i = 0; i < m_frames->size(); ++i) {
        const ImageObject* frame = m_frames->made_frame(i);
        if (frame == nullptr || !frame->is_decoded()) {
            return false;
        }
    }
    return true;
}

// Pixels of frames that nobody changed can be decoded again. Those of the last few stay in any case: a step may work on
// several of them at a time.
void ImageObject::note_use(const ImageObject& frame) const {
    constexpr size_t kFewest = 8;
    constexpr size_t kBytes = size_t{64} << 20;
    if (!m_in_use.empty() && m_in_use.back() == &frame) {
        return;
    }
    const imagework::Picture& picture = *frame.m_picture;
    const size_t size =
        static_cast<size_t>(picture.width()) * static_cast<size_t>(picture.height()) * picture.form().pixel_size();
    std::erase(m_in_use, &frame);
    m_in_use.push_back(&frame);
    let_frames_go(std::max(kFewest, kBytes / std::max<size_t>(1, size)));
}

void ImageObject::let_frames_go(size_t kept) const {
    while (m_in_use.size() > kept) {
        const ImageObject& oldest = *m_in_use.front();
        m_in_use.erase(m_in_use.begin());
        if (oldest.m_picture != nullptr && oldest.origin().source) {
            oldest.m_picture->let_go();
            if (oldest.m_picture->is_decoded()) {  // of a recovery, which decodes as it opens
                oldest.m_picture.reset();
            }
        }
    }
}

void ImageObject::forget_use(const ImageObject& frame) const {
    std::erase(m_in_use, &frame);
}

imagework::FrameOrigin ImageObject::origin() const {
    require_live();
    if (m_picture == nullptr) {
        return m_file_frame;
    }
    return m_picture->origin().source == m_file_frame.source || m_file_frame.source == nullptr
               ? m_picture->origin()
               : imagework::FrameOrigin{};
}

Ref<ImageObject> ImageObject::make_frame(std::unique_ptr<imagework::Picture> picture,
                                         imagework::FileFacts facts) const {
    return make_ref<ImageObject>(frame_type_for(type()), std::move(picture), std::move(facts));
}

void ImageObject::insert_frame(size_t index, Ref<ImageObject> frame) {
    frame_store();
    frame->require_live();
    if (frame->m_container != nullptr) {
        throw_argument("The frame is part of an image already. (Parameter 'frame')");
    }
    const bool shifts = index <= m_active && m_frames->size() != 0;
    m_frames->insert(index, std::move(frame));
    if (shifts) {
        ++m_active;
    }
}

Ref<ImageObject> ImageObject::take_frame(size_t index) {
    Ref<ImageObject> frame = frame_store()->take(index);
    forget_use(*frame);
    if (m_active > index || (m_active == index && m_active == m_frames->size() && m_active > 0)) {
        --m_active;
    }
    return frame;
}

std::optional<size_t> ImageObject::index_of(const ImageObject& frame) {
    if (frame.m_container != this) {
        return std::nullopt;
    }
    assert(m_frames);
    return m_frames->index_of(frame);
}

Argb color_property(const ManagedObject& object, std::string_view name) {
    const Ref<ManagedObject> color = property_object(object, name);
    return color ? unbox<ColorValue>(*color).argb : 0;
}

Argb ImageObject::canvas_background() const {
    if (property_bool(*this, "HasBackgroundColor")) {
        return color_property(*this, "BackgroundColor");
    }
    return picture().has_alpha() ? 0 : imagework::kWhite;
}

Argb ImageObject::flat_background() const {
    return property_bool(*this, "HasBackgroundColor") ? color_property(*this, "BackgroundColor") : imagework::kWhite;
}

std::optional<Argb> ImageObject::transparent_color() const {
    if (!property_bool(*this, "HasTransparentColor")) {
        return std::nullopt;
    }
    const Argb color = color_property(*this, "TransparentColor");
    // Of a loaded file it is clear in the alpha channel, and other pixels of that color are not meant.
    if (m_facts.transparent_color && (*m_facts.transparent_color & 0xFFFFFF) == (color & 0xFFFFFF)) {
        return std::nullopt;
    }
    return color;
}

const imagework::ProfileBytes& ImageObject::embedded_profile() {
    if (!m_embedded_profile) {
        m_embedded_profile = picture().profile();
    }
    return *m_embedded_profile;
}

void ImageObject::remove_drawing(const PendingDrawing* drawing) {
    std::erase_if(m_drawings, [&](const auto& each) { return each.get() == drawing; });
}

void ImageObject::put_drawings() {
    require_live();
    for (const auto& drawing : std::vector(m_drawings)) {
        drawing->put_into(*this);
    }
    // What has no Graphics any more will not be drawn on again.
    std::erase_if(m_drawings, [](const auto& each) { return each.use_count() == 1; });
    for (size_t i = 0; m_frames && i < m_frames->size(); ++i) {
        if (ImageObject* frame = m_frames->made_frame(i); frame != nullptr) {
            frame->put_drawings();
        }
    }
}

void ImageObject::on_dispose() {
    m_drawings.clear();
    if (m_frames) {
        m_frames->dispose_frames();
    }
    release_frames();
    m_picture.reset();
    m_file_frame = {};
    m_file_frames.reset();
    metadata.reset();
    gif = {};
    ImageBase::on_dispose();
}

std::string size_text(int64_t width, int64_t height) {
    return std::to_string(width) + " by " + std::to_string(height);
}

}  // namespace zelmor::embed
