// The work of separating one image: its settings, and what was found so far.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_SESSION_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_SESSION_H

#include <memory>
#include <string>
#include <vector>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/masking/masking_settings.h"

namespace zelmor::embed {

class MaskingSession final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "Zelmor.Imaging.Masking.IMaskingSession";
    // With the settings that the options have now.
    MaskingSession(Ref<ImageObject> image, Ref<Record> options);
    // As it was saved; InvalidDataException for bytes that no session was saved as, ArgumentException for those of an
    // image of another size.
    static Ref<MaskingSession> load(Ref<ImageObject> image, std::span<const std::byte> bytes);
    std::vector<std::byte> saved();

    ImageObject& image() const { return *m_image; }

    // A run in three steps. The first takes what it needs from the image and the options, the second may run on any
    // thread, the third makes the result. A mask by hand is drawn in the first step, whose task has no pixels then.
    // `improvement` is null of a run that does not improve an earlier one.
    SegmentationTask begin(const Record* improvement);
    Ref<ManagedObject> finish(Segmentation segmentation);

    // All three steps. Without a change of the settings, an earlier run counts.
    Ref<ManagedObject> run(const Record* improvement);

    void on_dispose() override;
    void references(ReferenceVisitor& visitor) override;
    std::u16string to_text() const override { return u"Zelmor.Imaging.Masking.MaskingSession"; }

 private:
    MaskingSession(Ref<ImageObject> image, Ref<Record> options, MaskingSettings settings);

    // Whether there are labels of the picture as it is now.
    bool is_done();
    void take_picture();
    void require_memory() const;
    std::shared_ptr<AreaPixels> read_pixels();
    void draw_mask();
    void publish(const DefaultStrokes& strokes);
    Ref<ManagedObject> result() const;

    Ref<ImageObject> m_image;
    Ref<Record> m_options;
    MaskingSettings m_settings;
    std::shared_ptr<const imagework::Picture> m_picture;  // of the last run
    Labels m_labels;                                      // of the last run; empty before the first
    DefaultStrokes m_strokes;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_SESSION_H
