// Clips and groups of files of lines and text; see written_canvas.h.
#include "runtime/native/drawwork/written_canvas.h"

#include <algorithm>
#include <cassert>

namespace zelmor::drawwork {

void WrittenCanvas::save() {
    m_levels.back().saved.push_back(m_levels.back().wanted);
}

void WrittenCanvas::restore() {
    // Whoever saved a state restores it on an error, too; an error inside of a group skips the group's end.
    while (in_group() && m_levels.back().saved.empty()) {
        m_levels.pop_back();
    }
    Level& level = m_levels.back();
    assert(!level.saved.empty());
    level.wanted = std::move(level.saved.back());
    level.saved.pop_back();
}

void WrittenCanvas::unclip() {
    m_levels.back().wanted.clear();
}

void WrittenCanvas::clip(const Outline& outline, FillRule rule, bool smooth) {
    m_levels.back().wanted.push_back(std::make_shared<const Clip>(Clip{outline, rule, smooth}));
}

void WrittenCanvas::begin_group() {
    sync_clips();
    open_group();
    m_levels.emplace_back();
}

void WrittenCanvas::end_group(double opacity, Blend blend) {
    assert(in_group());
    close_to(0);
    m_levels.pop_back();
    close_group(opacity, blend);
}

void WrittenCanvas::close_to(size_t count) {
    Level& level = m_levels.back();
    while (level.open.size() > count) {
        level.open.pop_back();
        close_clip();
    }
}

void WrittenCanvas::sync_clips() {
    Level& level = m_levels.back();
    const auto [wanted, open] =
        std::mismatch(level.wanted.begin(), level.wanted.end(), level.open.begin(), level.open.end());
    close_to(static_cast<size_t>(open - level.open.begin()));
    for (size_t i = level.open.size(); i < level.wanted.size(); ++i) {
        open_clip(*level.wanted[i]);
        level.open.push_back(level.wanted[i]);
    }
}

void WrittenCanvas::close_clips() {
    close_to(0);
}

}  // namespace zelmor::drawwork
