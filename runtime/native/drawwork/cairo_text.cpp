// Text by Pango. Layouts are made anew for each use; the fonts stay loaded.
#include "runtime/native/drawwork/cairo_text.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>
#include <strings.h>

#include <algorithm>

#include "runtime/native/drawwork/cairo_support.h"
#include "runtime/native/drawwork/exact_letters.h"

namespace zelmor::drawwork {

namespace {

using Layout = std::unique_ptr<PangoLayout, Freeing<g_object_unref>>;

bool is_exact(const TextLayout& wanted) {
    return wanted.exact && wanted.smooth && !wanted.hinted;
}

// Makes the fonts of the folders available, in place of those of earlier ones. Which they are is one setting of the
// process, changed under the interpreter lock; the map that keeps the fonts it has found is each thread's own, and has
// to be told.
void use_folders(const std::vector<std::string>& folders) {
    static auto& current = *new std::vector<std::string>;
    static uint64_t changes = 0;
    thread_local uint64_t told = 0;
    if (folders != current) {
        FcConfigAppFontClear(nullptr);
        for (const std::string& folder : folders) {
            FcConfigAppFontAddDir(nullptr, reinterpret_cast<const FcChar8*>(folder.c_str()));
        }
        current = folders;
        ++changes;
    }
    if (told == changes) {
        return;
    }
    pango_fc_font_map_config_changed(PANGO_FC_FONT_MAP(pango_cairo_font_map_get_default()));
    told = changes;
}

void add_attribute(PangoAttrList* list, PangoAttribute* attribute, unsigned from, unsigned to) {
    attribute->start_index = from;
    attribute->end_index = to;
    pango_attr_list_insert(list, attribute);
}

void set_attributes(PangoLayout* layout, const TextLayout& wanted) {
    PangoAttrList* list = pango_attr_list_new();
    const unsigned all = PANGO_ATTR_INDEX_TO_TEXT_END;
    if (wanted.underline) {
        add_attribute(list, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE), 0, all);
    }
    if (wanted.strikeout) {
        add_attribute(list, pango_attr_strikethrough_new(TRUE), 0, all);
    }
    if (wanted.letter_spacing != 0) {
        const double most = double(G_MAXINT / 2);
        const double spacing = std::clamp(wanted.letter_spacing * PANGO_SCALE, -most, most);
        add_attribute(list, pango_attr_letter_spacing_new(static_cast<int>(spacing)), 0, all);
    }
    if (wanted.breaks_words) {
        add_attribute(list, pango_attr_insert_hyphens_new(FALSE), 0, all);
    }
    if (!wanted.fallback) {
        add_attribute(list, pango_attr_fallback_new(FALSE), 0, all);
    }
    if (wanted.shows_controls) {
        add_attribute(list, pango_attr_show_new(PANGO_SHOW_IGNORABLES), 0, all);
    }
    if (wanted.mnemonic >= 0) {
        const auto from = static_cast<unsigned>(wanted.mnemonic);
        const char* text = wanted.text.c_str() + from;
        add_attribute(list, pango_attr_underline_new(PANGO_UNDERLINE_LOW), from,
                      from + static_cast<unsigned>(g_utf8_next_char(text) - text));
    }
    pango_layout_set_attributes(layout, list);
    pango_attr_list_unref(list);
}

Layout make_layout(cairo_t* context, const TextLayout& wanted) {
    use_folders(wanted.folders);
    Layout layout(pango_cairo_create_layout(context));
    PangoContext* pango = pango_layout_get_context(layout.get());
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, wanted.smooth ? CAIRO_ANTIALIAS_GRAY : CAIRO_ANTIALIAS_NONE);
    cairo_font_options_set_hint_style(options, wanted.hinted ? CAIRO_HINT_STYLE_SLIGHT : CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(pango, options);
    cairo_font_options_destroy(options);
    pango_cairo_context_set_resolution(pango, 72);
    // The library would take a transformation of the context for one of the font, and where that is not the same in
    // both directions, put letters at wrong distances. Without one it measures and places them alike, whoever draws
    // them.
    pango_context_set_matrix(pango, nullptr);
    pango_context_set_round_glyph_positions(pango, is_exact(wanted) ? FALSE : TRUE);
    pango_context_set_base_dir(pango, wanted.right_to_left ? PANGO_DIRECTION_RTL : PANGO_DIRECTION_WEAK_LTR);

    PangoFontDescription* font = pango_font_description_new();
    pango_font_description_set_family(font, wanted.family.c_str());
    pango_font_description_set_weight(font, wanted.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_style(font, wanted.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    pango_font_description_set_absolute_size(font, wanted.size * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font);
    pango_font_description_free(font);

    pango_layout_set_text(layout.get(), wanted.text.c_str(), static_cast<int>(wanted.text.size()));
    constexpr PangoAlignment kAlignments[] = {PANGO_ALIGN_LEFT, PANGO_ALIGN_CENTER, PANGO_ALIGN_RIGHT};
    pango_layout_set_alignment(layout.get(), kAlignments[static_cast<size_t>(wanted.alignment)]);
    const auto units = [](double pixels) {
        return pixels > 0 ? static_cast<int>(std::min(pixels * PANGO_SCALE, double(G_MAXINT / 2))) : 0;
    };
    if (wanted.width >= 0 && (wanted.wrap || wanted.trimming != TextTrimming::kNone)) {
        pango_layout_set_width(layout.get(), units(wanted.width));
        pango_layout_set_wrap(layout.get(), wanted.breaks_words ? PANGO_WRAP_CHAR : PANGO_WRAP_WORD_CHAR);
    }
    if (wanted.trimming != TextTrimming::kNone && wanted.width >= 0) {
        pango_layout_set_ellipsize(
            layout.get(), wanted.trimming == TextTrimming::kEnd ? PANGO_ELLIPSIZE_END : PANGO_ELLIPSIZE_MIDDLE);
        if (wanted.wrap && wanted.height >= 0) {
            pango_layout_set_height(layout.get(), units(wanted.height));
        }
    }
    if (!wanted.tabs.empty()) {
        PangoTabArray* tabs = pango_tab_array_new(static_cast<int>(wanted.tabs.size()), FALSE);
        for (size_t i = 0; i < wanted.tabs.size(); ++i) {
            pango_tab_array_set_tab(tabs, static_cast<int>(i), PANGO_TAB_LEFT, units(wanted.tabs[i]));
        }
        pango_layout_set_tabs(layout.get(), tabs);
        pango_tab_array_free(tabs);
    }
    set_attributes(layout.get(), wanted);
    return layout;
}

// A context that nothing is drawn on, to measure with.
Context measuring_context() {
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1));
    Context context(cairo_create(surface.get()));
    check(cairo_status(context.get()), "text cannot be measured");
    return context;
}

TextExtent extent_of(PangoLayout* layout) {
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    return {double(logical.width) / PANGO_SCALE, double(logical.height) / PANGO_SCALE, double(logical.x) / PANGO_SCALE,
            double(pango_layout_get_baseline(layout)) / PANGO_SCALE};
}

}  // namespace

TextExtent measure_text(const TextLayout& layout) {
    const Context context = measuring_context();
    return extent_of(make_layout(context.get(), layout).get());
}

void show_text(cairo_t* context, const TextLayout& wanted) {
    const Layout layout = make_layout(context, wanted);
    if (is_exact(wanted) && show_exact_letters(context, layout.get())) {
        return;
    }
    cairo_move_to(context, 0, 0);
    pango_cairo_show_layout(context, layout.get());
    cairo_new_path(context);
}

Outline text_outline(const TextLayout& wanted) {
    const Context measuring = measuring_context();
    const Layout layout = make_layout(measuring.get(), wanted);
    // Of letters far outside of its surface the library gives no outlines: this one has no end.
    const Surface endless(cairo_recording_surface_create(CAIRO_CONTENT_ALPHA, nullptr));
    const Context context(cairo_create(endless.get()));
    check(cairo_status(context.get()), "the outline of text cannot be found");
    cairo_move_to(context.get(), 0, 0);
    pango_cairo_layout_path(context.get(), layout.get());
    const std::unique_ptr<cairo_path_t, Freeing<cairo_path_destroy>> path(cairo_copy_path(context.get()));
    check(path->status, "the outline of text cannot be found");
    Outline outline;
    for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
        const cairo_path_data_t* data = &path->data[i];
        const auto point = [&](int n) { return PointD{data[n].point.x, data[n].point.y}; };
        switch (data->header.type) {
            case CAIRO_PATH_MOVE_TO:
                outline.push_back({point(1), {}, false});
                break;
            case CAIRO_PATH_LINE_TO:
                outline.back().line_to(point(1));
                break;
            case CAIRO_PATH_CURVE_TO:
                outline.back().curve_to(point(1), point(2), point(3));
                break;
            case CAIRO_PATH_CLOSE_PATH:
                outline.back().closed = true;
                break;
        }
    }
    std::erase_if(outline, [](const Contour& contour) { return contour.segments.empty(); });
    return outline;
}

std::vector<TextLine> text_lines(const TextLayout& wanted) {
    const Context context = measuring_context();
    const Layout layout = make_layout(context.get(), wanted);
    const std::unique_ptr<PangoLayoutIter, Freeing<pango_layout_iter_free>> iterator(
        pango_layout_get_iter(layout.get()));
    std::vector<TextLine> lines;
    do {
        const PangoLayoutLine* line = pango_layout_iter_get_line_readonly(iterator.get());
        PangoRectangle logical;
        pango_layout_iter_get_line_extents(iterator.get(), nullptr, &logical);
        std::string text =
            wanted.text.substr(static_cast<size_t>(line->start_index), static_cast<size_t>(line->length));
        text.erase(text.find_last_not_of(" \t\r\n") + 1);
        lines.push_back({std::move(text), double(logical.x) / PANGO_SCALE, double(logical.width) / PANGO_SCALE,
                         double(pango_layout_iter_get_baseline(iterator.get())) / PANGO_SCALE});
    } while (pango_layout_iter_next_line(iterator.get()) != FALSE);
    return lines;
}

bool has_font_family(const std::string& name, const std::vector<std::string>& folders) {
    use_folders(folders);
    PangoFontFamily** families = nullptr;
    int count = 0;
    pango_font_map_list_families(pango_cairo_font_map_get_default(), &families, &count);
    const bool found = std::any_of(families, families + count, [&](PangoFontFamily* family) {
        return strcasecmp(pango_font_family_get_name(family), name.c_str()) == 0;
    });
    g_free(families);
    return found;
}

}  // namespace zelmor::drawwork
