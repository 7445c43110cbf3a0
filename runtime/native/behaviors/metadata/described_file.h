// A file that gets its metadata while it is written.
//
// Encoders write files without metadata, and metadata get into them in one of three ways. PNG, JPEG, GIF and WebP have
// them before the pixels, or at the end with a word of it at the beginning: the head of the file is kept until it is
// complete and is passed on with the metadata in it; all bytes behind it are passed on as they come, and the rest of
// the metadata behind them. TIFF gets them when it is complete, by changes in the target. BMP, PDF and others get none.
// A file that the encoder gives as a whole is kept until the encoder has finished.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_DESCRIBED_FILE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_DESCRIBED_FILE_H

#include <utility>
#include <vector>

#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::embed {

class DescribedFile final : public imagework::ByteSink {
 public:
    // The metadata are those of the options, or of the pictures where these have none; `options` may be null. An
    // interrupted image ends the writing. All have to outlive this.
    DescribedFile(ImageObject& image, const Record* options, imagework::ByteSink& target)
        : m_image(image), m_options(options), m_target(target) {}

    // Those in the file, each with what describes it. Has to come before the first bytes.
    void set_pictures(imagework::Format format, std::vector<WrittenPicture> pictures) {
        m_format = format;
        m_pictures = std::move(pictures);
    }

    void write(std::span<const uint8_t> bytes) override;
    // Kept until finish(), so that what the encoder needed can be freed first.
    void write_whole(imagework::EncodedBytes file) override;
    imagework::EditableFile* editable() override;
    // Has to come when the encoder has finished.
    void finish();

 private:
    ImageObject& m_image;
    const Record* m_options;
    imagework::ByteSink& m_target;
    imagework::Format m_format = imagework::Format::kUnknown;
    std::vector<WrittenPicture> m_pictures;
    std::vector<uint8_t> m_head;
    bool m_has_head = false;  // it was passed on, or there is none
    Bytes m_tail;             // what has to follow the encoder's bytes
    imagework::EditableFile* m_edited = nullptr;
    imagework::EncodedBytes m_whole;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_DESCRIBED_FILE_H
