// The file of one picture as a source of one frame.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SINGLE_FRAME_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SINGLE_FRAME_H

#include <functional>
#include <memory>
#include <utility>

#include "runtime/native/imagework/pixels/frame_source.h"

namespace zelmor::imagework {

// For formats whose decoder cannot shrink pictures. `open` makes a reader of the picture; any thread may call it.
class SingleFrame final : public FrameSource {
 public:
    using Open = std::function<std::unique_ptr<RowReader>()>;
    SingleFrame(FileFacts facts, Open open) : m_facts(std::move(facts)), m_open(std::move(open)) {}

    size_t count() const override { return 1; }
    FrameHeader header(size_t) const override {
        FrameHeader header;
        header.facts = m_facts;
        header.area = {0, 0, static_cast<int32_t>(m_facts.width), static_cast<int32_t>(m_facts.height)};
        return header;
    }
    std::unique_ptr<RowReader> open(size_t) const override { return m_open(); }

 private:
    FileFacts m_facts;
    Open m_open;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SINGLE_FRAME_H
