// An image of the embedded runtime: a picture of the backend with the facts of its file, or several pictures.
//
// Properties that only store a value stay in the record; those that follow from the pixels or the file are behavior. An
// image of a format that can have several frames becomes a container of frames when these are first asked for; its own
// picture is that of the active frame from then on. Each frame becomes an object when a program looks at it.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_OBJECT_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_OBJECT_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/native/behaviors/formats/interrupt_monitor.h"
#include "runtime/native/behaviors/images/format_classes.h"
#include "runtime/native/behaviors/images/frame_store.h"
#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/values.h"
#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

struct ImageMetadata;
class ImageObject;

// A step that changes a picture.
using PictureChange = std::function<void(imagework::Picture&)>;

// A drawing that was made beside an image's pixels and is not part of them yet.
class PendingDrawing {
 public:
    virtual ~PendingDrawing() = default;
    // Puts into the image what was drawn since the last time.
    virtual void put_into(ImageObject& image) = 0;
};

// An extension of a GIF file as an object of the API, and the bytes that it was read from: as long as the object says
// the same, the file gets these.
struct GifExtension {
    Ref<ManagedObject> block;
    std::vector<uint8_t> bytes = {};
    std::vector<uint8_t> as_read = {};  // what the object said when it was read
};

// What a GIF image and its frames keep besides the pixels.
struct GifDetails {
    bool part = false;  // a frame that is laid over the canvas; otherwise it is all that is seen
    imagework::GifControl control = {};
    std::optional<uint8_t> transparent_of_file = {};  // the transparent index that the frame was loaded with
    std::vector<GifExtension> blocks_before = {};     // of a frame
    std::vector<GifExtension> blocks_behind = {};     // of an image: after its last frame
};

// The frames of an image in their order, for loops; each becomes an object when it is looked at.
class FrameRange {
 public:
    class Iterator {
     public:
        Iterator(const FrameRange& range, size_t index) : m_range(&range), m_index(index) {}
        Ref<ImageObject> operator*() const { return (*m_range)[m_index]; }
        Iterator& operator++() {
            ++m_index;
            return *this;
        }
        bool operator!=(const Iterator& other) const { return m_index != other.m_index; }

     private:
        const FrameRange* m_range;
        size_t m_index;
    };

    explicit FrameRange(Ref<FrameStore> store) : m_store(std::move(store)) {}
    size_t size() const { return m_store->size(); }
    bool empty() const { return size() == 0; }
    Ref<ImageObject> operator[](size_t index) const { return m_store->frame(index); }
    Iterator begin() const { return {*this, 0}; }
    Iterator end() const { return {*this, size()}; }

 private:
    Ref<FrameStore> m_store;
};

class ImageObject final : public ImageBase {
 public:
    static constexpr const char* kManagedName = api::RasterImage::kType.name;

    // Of the type that belongs to the format, or of the nearest that there is.
    ImageObject(std::unique_ptr<imagework::Picture> picture, imagework::FileFacts facts);
    // Of a type of its own, such as a frame.
    ImageObject(const TypeInfo& type, std::unique_ptr<imagework::Picture> picture, imagework::FileFacts facts);
    ~ImageObject() override;

    // An image that has lost its last frame is as large as it was made. The bits are the file's, or those that the
    // image was made for, until an operation changes the form of the pixels.
    int32_t image_width() const override;
    int32_t image_height() const override;
    int32_t image_bits() const override;
    // Says that the pixels, as they are now, have so many bits.
    void set_image_bits(int32_t bits);
    FileFormat image_format() const override { return file_format_of(m_facts); }
    ImageBase* image_container() const override { return m_container; }
    void resize_image(int32_t new_width, int32_t new_height, api::ResizeType resize_type) override;
    // `reduce` makes an indexed picture of one that was indexed before; without it, such a picture stays true color.
    void resize_image(int32_t new_width, int32_t new_height, api::ResizeType resize_type, const PictureChange& reduce);
    void turn_image(int quarter_turns, bool mirror_x, bool mirror_y) override;

    // The picture, of a container the active frame's; ObjectDisposedException once the image is disposed,
    // InvalidOperationException where there is no frame.
    imagework::Picture& picture() const;
    void set_picture(std::unique_ptr<imagework::Picture> picture);
    // Whether the pixels of the picture, or of all frames, are in memory.
    bool is_decoded() const;
    const imagework::FileFacts& facts() const { return m_facts; }
    imagework::FileFacts& facts() { return m_facts; }

    // Runs a step on the picture, or on those of all frames; a failure leaves every one as it was.
    template <class Step>
    void change(Step&& step) {
        require_uninterrupted(*this);
        put_drawings();
        std::unique_ptr<imagework::Picture> changed_still;
        if (const imagework::Picture* own = still()) {
            changed_still = own->copy();
            step(*changed_still);
        }
        if (frame_count() == 1) {
            std::unique_ptr<imagework::Picture> changed = picture().copy();
            step(*changed);
            set_picture(std::move(changed));
            return take_changed_still(std::move(changed_still));
        }
        const FrameRange all = frames();
        std::vector<std::unique_ptr<imagework::Picture>> changed;
        for (const Ref<ImageObject>& frame : all) {
            require_uninterrupted(*this);
            changed.push_back(frame->picture().copy());
            step(*changed.back());
        }
        for (size_t i = 0; i < changed.size(); ++i) {
            all[i]->set_picture(std::move(changed[i]));
        }
        take_changed_still(std::move(changed_still));
    }

    // The picture beside the frames of an animation that programs show which know none; null where that is the first
    // frame. That of a file is decoded when it is first asked for.
    const imagework::Picture* still() const;
    // Null for none.
    void set_still(std::unique_ptr<imagework::Picture> picture);

    // Drawings between begin_update() and end_update(). Operations on the image and save() find them in its pixels.
    void add_drawing(std::shared_ptr<PendingDrawing> drawing) { m_drawings.push_back(std::move(drawing)); }
    void remove_drawing(const PendingDrawing* drawing);
    void put_drawings();

    // Frames. Images of other formats have one, themselves.
    bool is_container() const;
    size_t frame_count() const;  // needs no decoding
    FrameRange frames() { return FrameRange(frame_store()); }
    // The same for arrays that show them.
    const Ref<FrameStore>& frame_store();
    size_t active_index() const { return m_active; }
    // Null where frames were not asked for yet, or there is none.
    ImageObject* active_frame_object() const;
    void set_active_index(size_t index) { m_active = index; }
    // Takes a frame in; ArgumentException for one that is part of an image already.
    void insert_frame(size_t index, Ref<ImageObject> frame);
    Ref<ImageObject> take_frame(size_t index);
    // The index of a frame of this image, or nothing.
    std::optional<size_t> index_of(const ImageObject& frame);
    // A new frame of the kind that belongs to this image, not yet part of it.
    Ref<ImageObject> make_frame(std::unique_ptr<imagework::Picture> picture, imagework::FileFacts facts) const;
    // Makes the image one without frames, which get in by insert_frame().
    void make_container();
    // A frame as it is in a file.
    static Ref<ImageObject> frame_of_file(const TypeInfo& type, const imagework::SharedFrames& source, size_t index,
                                          const imagework::DecodeOptions& options);
    // The frames of the file that the image was loaded from: they are decoded when their pixels are needed. The picture
    // is that of the first, or null.
    void set_file_frames(imagework::SharedFrames frames, const imagework::DecodeOptions& options);
    // The frame of a file that the pixels still are, or nothing.
    imagework::FrameOrigin origin() const;
    // The frame of a file that this is or was, whatever became of its pixels; its source is null for one of no file.
    const imagework::FrameOrigin& file_frame() const { return m_file_frame; }
    // The image that this one is a frame of, or null.
    ImageObject* container() const { return m_container; }
    void set_container(ImageObject* image) { m_container = image; }

    // The pixels were drawn of a vector image, for a save.
    bool is_drawn = false;

    // Of a frame of an animation.
    int32_t duration = 0;  // milliseconds
    int32_t left = 0;
    int32_t top = 0;
    // What becomes of its place when its time is over. One with a GIF control block has it there.
    imagework::FrameDisposal disposal = imagework::FrameDisposal::kLeave;
    // Whether it is mixed with the frames before it by its alpha, or replaces them. Nothing: it replaces them where it
    // is as large as the canvas.
    std::optional<bool> blends;
    GifDetails gif;

    // The colors of an indexed image; empty for true color. A palette that was offered becomes the picture's as soon as
    // the picture has no other colors.
    std::vector<imagework::Argb> palette() const;
    void offer_palette(std::vector<imagework::Argb> palette) { m_offered_palette = std::move(palette); }
    const std::vector<imagework::Argb>& offered_palette() const { return m_offered_palette; }
    // The color profile that the file had, of whatever use it is now.
    const imagework::ProfileBytes& embedded_profile();
    // EXIF, XMP and the like of the file that the image was loaded from; null for one that was created.
    std::shared_ptr<ImageMetadata> metadata;

    // The color behind the picture where a canvas grows, and where a format has no alpha: the background color if the
    // image has one. Otherwise a canvas with alpha grows by transparent pixels, one without by white ones.
    imagework::Argb canvas_background() const;
    imagework::Argb flat_background() const;
    // The color that is to be written as transparent, unless the alpha channel has it already.
    std::optional<imagework::Argb> transparent_color() const;

    void on_dispose() override;
    void references(ReferenceVisitor& visitor) override;

 private:
    void take_changed_still(std::unique_ptr<imagework::Picture> picture) {
        if (picture != nullptr) {
            set_still(std::move(picture));
        }
    }
    void stop_reclaiming();
    void release_frames();

    // The frames of the file become those of the image; they are decoded later.
    void adopt_file_frames();
    void pass_description(ImageObject& first);
    void decode() const;
    // A frame of this image is looked at: frames that were looked at longest ago may let their pixels go.
    void note_use(const ImageObject& frame) const;
    void forget_use(const ImageObject& frame) const;
    // Lets pixels of frames go that can be decoded again, but those of the frames that were looked at last.
    void let_frames_go(size_t kept) const;

    mutable std::unique_ptr<imagework::Picture> m_picture;  // moves to the first frame; null until it is needed
    imagework::FrameOrigin m_file_frame;                    // which the picture is decoded from
    imagework::SharedFrames m_file_frames;
    mutable std::unique_ptr<imagework::Picture> m_still;
    mutable imagework::SharedFrames m_file_still;      // as long as it is not decoded, and nothing replaced it
    mutable std::vector<const ImageObject*> m_in_use;  // frames that were decoded, the one looked at last at the end
    imagework::FileFacts m_facts;
    mutable std::optional<imagework::PixelForm> m_form_of_facts;  // of the pixels that the facts tell of
    std::vector<imagework::Argb> m_offered_palette;
    std::optional<imagework::ProfileBytes> m_embedded_profile;  // absent until it is asked for
    std::vector<std::shared_ptr<PendingDrawing>> m_drawings;
    Ref<FrameStore> m_frames;  // null until frames are asked for
    size_t m_active = 0;
    ImageObject* m_container = nullptr;  // holds this frame, or lets go of it before it ends
    imagework::DecodeOptions m_source_options;
};

// "40 by 30"; for messages.
std::string size_text(int64_t width, int64_t height);

// A color property of an object, as 0xAARRGGBB.
imagework::Argb color_property(const ManagedObject& object, std::string_view name);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_OBJECT_H
