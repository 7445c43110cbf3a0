// Letters at fractions of pixels; see exact_letters.h. Filling the outline of a letter takes ten times as long as
// copying its picture, so that pictures are kept: of each letter four for each direction in which fractions matter.
#include "runtime/native/drawwork/exact_letters.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangofc-font.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <vector>

#include "runtime/native/drawwork/cairo_support.h"

namespace zelmor::drawwork {

namespace {

constexpr int kSteps = 4;               // of a pixel
constexpr double kMostSize = 128;       // of letters with pictures, in pixels; larger ones are filled
constexpr size_t kMostBytes = 8 << 20;  // of the pictures that are kept
constexpr double kTolerance = 0.05;
constexpr double kSparse = 4;  // so much larger than its letters a line may be to be drawn at once

using Iterator = std::unique_ptr<PangoLayoutIter, Freeing<pango_layout_iter_free>>;
using ScaledFont = std::unique_ptr<cairo_scaled_font_t, Freeing<cairo_scaled_font_destroy>>;
using Path = std::unique_ptr<cairo_path_t, Freeing<cairo_path_destroy>>;

// The picture of a letter, and where its corner is from the pixel that the letter stands at.
struct Letter {
    Surface image;  // none where the letter is empty
    int left = 0, top = 0, width = 0, height = 0;
};

Context smooth_context(cairo_surface_t* surface) {
    Context context(cairo_create(surface));
    check(cairo_status(context.get()), "text cannot be drawn");
    cairo_set_antialias(context.get(), CAIRO_ANTIALIAS_GOOD);
    cairo_set_tolerance(context.get(), kTolerance);
    return context;
}

Letter drawn_letter(cairo_scaled_font_t* font, unsigned long index, double right, double down) {
    const Surface nothing(cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1));
    const Context finding = smooth_context(nothing.get());
    cairo_matrix_t matrix;
    cairo_scaled_font_get_ctm(font, &matrix);
    matrix.x0 = right;
    matrix.y0 = down;
    cairo_set_matrix(finding.get(), &matrix);
    cairo_set_scaled_font(finding.get(), font);
    const cairo_glyph_t glyph{index, 0, 0};
    cairo_glyph_path(finding.get(), &glyph, 1);
    cairo_identity_matrix(finding.get());
    double from_x, from_y, to_x, to_y;
    cairo_path_extents(finding.get(), &from_x, &from_y, &to_x, &to_y);
    Letter letter;
    letter.left = static_cast<int>(std::floor(from_x));
    letter.top = static_cast<int>(std::floor(from_y));
    letter.width = static_cast<int>(std::ceil(to_x)) - letter.left;
    letter.height = static_cast<int>(std::ceil(to_y)) - letter.top;
    if (letter.width == 0) {
        return {};
    }
    const Path path(cairo_copy_path(finding.get()));
    letter.image.reset(cairo_image_surface_create(CAIRO_FORMAT_A8, letter.width, letter.height));
    const Context drawing = smooth_context(letter.image.get());
    cairo_translate(drawing.get(), -letter.left, -letter.top);
    cairo_append_path(drawing.get(), path.get());
    cairo_fill(drawing.get());
    check(cairo_status(drawing.get()), "text cannot be drawn");
    cairo_surface_flush(letter.image.get());
    return letter;
}

// The pictures of one font in one size. It is kept as long as they are: its address is what they are found by.
struct LettersOfFont {
    explicit LettersOfFont(cairo_scaled_font_t* its_font) : font(cairo_scaled_font_reference(its_font)) {}
    ScaledFont font;
    std::unordered_map<uint64_t, Letter> letters;
};

// Of a thread, so that no lock is needed.
class LetterStore {
 public:
    // `right` and `down` are steps of a pixel. The letter lives until room() is called.
    const Letter& letter(cairo_scaled_font_t* font, unsigned long index, int right, int down) {
        LettersOfFont& fonts = m_fonts.try_emplace(font, font).first->second;
        const uint64_t key = (uint64_t(index) * kSteps + uint64_t(right)) * kSteps + uint64_t(down);
        auto found = fonts.letters.find(key);
        if (found == fonts.letters.end()) {
            found = fonts.letters.emplace(key, drawn_letter(font, index, double(right) / kSteps, double(down) / kSteps))
                        .first;
            const Letter& made = found->second;
            m_bytes += sizeof(Letter) + static_cast<size_t>(made.width) * static_cast<size_t>(made.height);
        }
        return found->second;
    }
    void room() {
        if (m_bytes > kMostBytes) {
            m_fonts.clear();
            m_bytes = 0;
        }
    }

 private:
    std::unordered_map<cairo_scaled_font_t*, LettersOfFont> m_fonts;
    size_t m_bytes = 0;
};

// Letters of one font, at their places in pixels.
struct Piece {
    ScaledFont font;
    std::vector<cairo_glyph_t> glyphs;
};
struct Laid {
    std::vector<Piece> pieces;
    std::vector<RectD> lines;  // under letters and through them, in the space of the layout
};

bool has_outlines(PangoFont* font) {
    if (!PANGO_IS_FC_FONT(font) || !PANGO_IS_CAIRO_FONT(font)) {
        return false;
    }
    FcPattern* pattern = pango_fc_font_get_pattern(PANGO_FC_FONT(font));
    FcBool scalable, colored;
    return FcPatternGetBool(pattern, FC_SCALABLE, 0, &scalable) == FcResultMatch && scalable != FcFalse &&
           !(FcPatternGetBool(pattern, FC_COLOR, 0, &colored) == FcResultMatch && colored != FcFalse);
}

double units(int value) {
    return double(value) / PANGO_SCALE;
}

void add_lines(std::vector<RectD>& lines, const PangoItem* item, const PangoRectangle& run, int baseline) {
    for (const GSList* node = item->analysis.extra_attrs; node != nullptr; node = node->next) {
        const auto* attribute = static_cast<const PangoAttribute*>(node->data);
        const bool under = attribute->klass->type == PANGO_ATTR_UNDERLINE;
        if ((!under && attribute->klass->type != PANGO_ATTR_STRIKETHROUGH) ||
            reinterpret_cast<const PangoAttrInt*>(attribute)->value == 0) {
            continue;
        }
        PangoFontMetrics* metrics = pango_font_get_metrics(item->analysis.font, item->analysis.language);
        const int above = under ? pango_font_metrics_get_underline_position(metrics)
                                : pango_font_metrics_get_strikethrough_position(metrics);
        const int thick = under ? pango_font_metrics_get_underline_thickness(metrics)
                                : pango_font_metrics_get_strikethrough_thickness(metrics);
        lines.push_back({units(run.x), units(baseline - above), units(run.width), units(thick)});
        pango_font_metrics_unref(metrics);
    }
}

// A font of a layout as the context draws it: layouts are made in a space without a transformation.
ScaledFont font_in(cairo_t* context, PangoFont* font) {
    cairo_scaled_font_t* const plain = pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(font));
    cairo_matrix_t letters, map;
    cairo_scaled_font_get_font_matrix(plain, &letters);
    cairo_get_matrix(context, &map);
    map.x0 = map.y0 = 0;
    const std::unique_ptr<cairo_font_options_t, Freeing<cairo_font_options_destroy>> options(
        cairo_font_options_create());
    cairo_scaled_font_get_font_options(plain, options.get());
    // The library keeps the fonts that it has made, and gives the same one again.
    return ScaledFont(cairo_scaled_font_create(cairo_scaled_font_get_font_face(plain), &letters, &map, options.get()));
}

// Where everything of the layout is. False if cairo has to show it.
bool lay(cairo_t* context, PangoLayout* layout, Laid& laid) {
    const Iterator iterator(pango_layout_get_iter(layout));
    do {
        const PangoLayoutRun* run = pango_layout_iter_get_run_readonly(iterator.get());
        if (run == nullptr) {
            continue;
        }
        PangoFont* font = run->item->analysis.font;
        if (!has_outlines(font)) {
            return false;
        }
        PangoRectangle place;
        pango_layout_iter_get_run_extents(iterator.get(), nullptr, &place);
        const int baseline = pango_layout_iter_get_baseline(iterator.get());
        Piece& piece = laid.pieces.emplace_back();
        piece.font = font_in(context, font);
        int x = place.x;
        for (int i = 0; i < run->glyphs->num_glyphs; ++i) {
            const PangoGlyphInfo& info = run->glyphs->glyphs[i];
            if ((info.glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0) {
                return false;
            }
            if (info.glyph != PANGO_GLYPH_EMPTY) {
                cairo_glyph_t glyph{info.glyph, units(x + info.geometry.x_offset),
                                    units(baseline + info.geometry.y_offset)};
                cairo_user_to_device(context, &glyph.x, &glyph.y);
                piece.glyphs.push_back(glyph);
            }
            x += info.geometry.width;
        }
        add_lines(laid.lines, run->item, place, baseline);
    } while (pango_layout_iter_next_run(iterator.get()) != FALSE);
    return true;
}

// A coordinate as a whole pixel and steps to the next one.
struct Steps {
    int whole = 0, part = 0;
    Steps(double at, bool fine) {
        const auto steps = static_cast<int>(std::lround(at * (fine ? kSteps : 1))) * (fine ? 1 : kSteps);
        part = steps & (kSteps - 1);
        whole = (steps - part) / kSteps;
    }
};

struct Placed {
    const Letter* letter;
    int x, y;
};

// The letters of one line within the box, as one mask.
void show_together(cairo_t* context, const std::vector<Placed>& letters, int left, int top, int right, int bottom) {
    const Surface mask(cairo_image_surface_create(CAIRO_FORMAT_A8, right - left, bottom - top));
    check(cairo_surface_status(mask.get()), "text cannot be drawn");
    unsigned char* rows = cairo_image_surface_get_data(mask.get());
    const int stride = cairo_image_surface_get_stride(mask.get());
    for (const Placed& placed : letters) {
        const unsigned char* image = cairo_image_surface_get_data(placed.letter->image.get());
        const int step = cairo_image_surface_get_stride(placed.letter->image.get());
        const int from_x = std::max(0, left - placed.x), to_x = std::min(placed.letter->width, right - placed.x);
        const int from_y = std::max(0, top - placed.y), to_y = std::min(placed.letter->height, bottom - placed.y);
        for (int y = from_y; y < to_y; ++y) {
            const unsigned char* from = image + std::ptrdiff_t(y) * step;
            unsigned char* to = rows + std::ptrdiff_t(placed.y + y - top) * stride + (placed.x - left);
            for (int x = from_x; x < to_x; ++x) {
                to[x] = static_cast<unsigned char>(std::min(255, to[x] + from[x]));
            }
        }
    }
    cairo_surface_mark_dirty(mask.get());
    cairo_mask_surface(context, mask.get(), left, top);
}

// With the context's space that of the pixels.
void show_pieces(cairo_t* context, const Laid& laid, bool fine_x, bool fine_y) {
    thread_local LetterStore store;
    double clip_left = 0, clip_top = 0, clip_right = 0, clip_bottom = 0;
    cairo_clip_extents(context, &clip_left, &clip_top, &clip_right, &clip_bottom);
    std::vector<Placed> letters;
    double area = 0;
    int left = INT32_MAX, top = INT32_MAX, right = INT32_MIN, bottom = INT32_MIN;
    for (const Piece& piece : laid.pieces) {
        for (const cairo_glyph_t& glyph : piece.glyphs) {
            // Beyond the clip by more than a letter is large.
            constexpr double kReach = 8 * kMostSize;
            if (!(glyph.x > clip_left - kReach && glyph.x < clip_right + kReach && glyph.y > clip_top - kReach &&
                  glyph.y < clip_bottom + kReach)) {
                continue;
            }
            const Steps x(glyph.x, fine_x), y(glyph.y, fine_y);
            const Letter& letter = store.letter(piece.font.get(), glyph.index, x.part, y.part);
            const Placed placed{&letter, x.whole + letter.left, y.whole + letter.top};
            if (letter.image == nullptr || placed.x >= clip_right || placed.y >= clip_bottom ||
                placed.x + letter.width <= clip_left || placed.y + letter.height <= clip_top) {
                continue;
            }
            letters.push_back(placed);
            area += double(letter.width) * letter.height;
            left = std::min(left, placed.x);
            top = std::min(top, placed.y);
            right = std::max(right, placed.x + letter.width);
            bottom = std::max(bottom, placed.y + letter.height);
        }
    }
    left = std::max(left, static_cast<int>(std::floor(clip_left)));
    top = std::max(top, static_cast<int>(std::floor(clip_top)));
    right = std::min(right, static_cast<int>(std::ceil(clip_right)));
    bottom = std::min(bottom, static_cast<int>(std::ceil(clip_bottom)));
    if (letters.size() > 1 && double(right - left) * (bottom - top) <= kSparse * area) {
        show_together(context, letters, left, top, right, bottom);
    } else {
        for (const Placed& placed : letters) {
            cairo_mask_surface(context, placed.letter->image.get(), placed.x, placed.y);
        }
    }
    store.room();
}

// Adds a line under letters to the path, in the space of the pixels; across it covers whole ones.
void add_fitted(cairo_t* context, const RectD& line, const cairo_matrix_t& map, bool level) {
    double left = line.x, top = line.y, right = line.right(), bottom = line.bottom();
    cairo_matrix_transform_point(&map, &left, &top);
    cairo_matrix_transform_point(&map, &right, &bottom);
    double x = std::min(left, right), y = std::min(top, bottom);
    double width = std::abs(right - left), height = std::abs(bottom - top);
    double& at = level ? y : x;
    double& thick = level ? height : width;
    const double middle = at + thick / 2;
    thick = std::max(std::round(thick), 1.0);
    at = std::round(middle - thick / 2);
    cairo_rectangle(context, x, y, width, height);
}

double size_of(cairo_scaled_font_t* font, const cairo_matrix_t& map) {
    cairo_matrix_t letters;
    cairo_scaled_font_get_font_matrix(font, &letters);
    cairo_matrix_multiply(&letters, &letters, &map);
    return std::max(std::hypot(letters.xx, letters.yx), std::hypot(letters.xy, letters.yy));
}

}  // namespace

bool show_exact_letters(cairo_t* context, PangoLayout* layout) {
    if (cairo_surface_get_type(cairo_get_group_target(context)) != CAIRO_SURFACE_TYPE_IMAGE) {
        return false;
    }
    Laid laid;
    if (!lay(context, layout, laid)) {
        return false;
    }
    cairo_matrix_t map;
    cairo_get_matrix(context, &map);
    cairo_set_antialias(context, CAIRO_ANTIALIAS_GOOD);
    cairo_set_fill_rule(context, CAIRO_FILL_RULE_WINDING);
    cairo_new_path(context);
    if (std::any_of(laid.pieces.begin(), laid.pieces.end(),
                    [&](const Piece& piece) { return size_of(piece.font.get(), map) > kMostSize; })) {
        pango_cairo_layout_path(context, layout);
        cairo_fill(context);
        return true;
    }
    // Level and upright text keeps to whole pixels across its lines, so that all letters look alike.
    const double least = 1e-6 * std::max({std::abs(map.xx), std::abs(map.xy), std::abs(map.yx), std::abs(map.yy)});
    const bool level = std::abs(map.xy) <= least && std::abs(map.yx) <= least;
    const bool upright = std::abs(map.xx) <= least && std::abs(map.yy) <= least;
    for (const RectD& line : laid.lines) {
        if (!level && !upright) {
            cairo_rectangle(context, line.x, line.y, line.width, line.height);
        }
    }
    cairo_identity_matrix(context);
    for (const RectD& line : laid.lines) {
        if (level || upright) {
            add_fitted(context, line, map, level);
        }
    }
    cairo_fill(context);
    show_pieces(context, laid, !upright, !level);
    cairo_set_matrix(context, &map);
    return true;
}

}  // namespace zelmor::drawwork
