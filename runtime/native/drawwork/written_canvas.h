// The base of canvases that write a file of lines and text: SVG, scripts of HTML, DXF.
//
// In such a file a clip holds for what stands inside of it, so that clips nest and have an end. The base keeps the
// clips of the canvas's state, and opens and ends those of the file when something is drawn.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_WRITTEN_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_WRITTEN_CANVAS_H

#include <memory>
#include <vector>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::drawwork {

class WrittenCanvas : public Canvas {
 public:
    void save() final;
    void restore() final;
    void unclip() final;
    void clip(const Outline& outline, FillRule rule, bool smooth) final;
    void begin_group() final;
    void end_group(double opacity, Blend blend) final;

 protected:
    struct Clip {
        Outline outline;
        FillRule rule;
        bool smooth;
    };
    using Clips = std::vector<std::shared_ptr<const Clip>>;

    virtual void open_clip(const Clip& clip) = 0;
    virtual void close_clip() = 0;  // the one that was opened last
    virtual void open_group() = 0;
    virtual void close_group(double opacity, Blend blend) = 0;

    // Makes the clips of the file those of the state; called before anything is written.
    void sync_clips();
    // Ends all clips, at the end of the file.
    void close_clips();
    // The clips within the page or the group that hold now.
    const Clips& clips() const { return m_levels.back().wanted; }
    bool in_group() const { return m_levels.size() > 1; }

 private:
    // The page, or a group.
    struct Level {
        Clips wanted;
        Clips open;
        std::vector<Clips> saved;
    };
    void close_to(size_t count);
    std::vector<Level> m_levels{1};
};

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_WRITTEN_CANVAS_H
