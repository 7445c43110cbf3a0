// Rows, columns, cells and borders; see od_table.h.
#include "runtime/native/formats/opendocument/od_table.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/formats/opendocument/od_text.h"
#include "runtime/native/formats/opendocument/od_values.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using drawwork::Argb;

namespace {

constexpr const char* kCellGraphic = "style:graphic-properties";
// A column or row without a size of its own.
constexpr double kUsualSide = 10 * kPixelsOfMillimeter;

struct Cell {
    const OdNode* element = nullptr;
    size_t row = 0, column = 0, rows = 1, columns = 1;
    OdStyle style;
    RectD area;
};

struct Border {
    double width = 0;
    Argb color = 0xFF000000;
};

// "0.06pt solid #000000"; nothing for "none".
std::optional<Border> border_of(std::string_view text) {
    Border border;
    bool any = false;
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, end);
        if (word == "none" || word == "hidden") {
            return std::nullopt;
        }
        if (const auto color = od_color(word)) {
            border.color = *color;
        } else if (const auto width = od_length(word); width && *width > 0) {
            border.width = *width;
            any = true;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return any ? std::optional(border) : std::nullopt;
}

// How often an element stands for itself.
size_t times(const OdNode& element, const char* attribute) {
    const double count = od_number(element.get(attribute), 1);
    return static_cast<size_t>(std::clamp(count, 1.0, static_cast<double>(imagework::limits::kFillSteps)));
}

class Table {
 public:
    Table(OdCanvas& target, const OdNode& table, OdScope scope, const OdShapePlace& place, size_t page_number)
        : m_target(target), m_table(table), m_scope(scope), m_place(place), m_page_number(page_number) {
        const std::string_view name = table.get("table:template-name");
        m_template = name.empty() ? nullptr : target.document.named("table:table-template", name);
        take_columns(table);
        take_rows(table);
        take_cells();
        place_columns();
        place_rows();
        for (Cell& cell : m_cells) {
            cell.area = {m_lefts[cell.column], m_tops[cell.row],
                         m_lefts[cell.column + cell.columns] - m_lefts[cell.column],
                         m_tops[cell.row + cell.rows] - m_tops[cell.row]};
        }
    }

    void draw(const Affine& map) {
        for (const Cell& cell : m_cells) {
            fill(cell, map);
        }
        for (const Cell& cell : m_cells) {
            draw_od_text(m_target, *cell.element, text_place(cell, cell.area, map));
        }
        borders(map);
    }

 private:
    struct Row {
        const OdNode* element;
        double height;
        std::string_view cell_style;
    };

    void too_many() const {
        throw imagework::PictureError(imagework::Failure::kTooLarge, "a table of the document has too many cells");
    }

    // Columns, rows and their groups and headers nest in any way.
    void take_columns(const OdNode& element) {
        for (const OdNode& each : element.children) {
            if (!each.is("table:table-column")) {
                if (each.name.starts_with("table:table-column") || each.is("table:table-header-columns")) {
                    take_columns(each);
                }
                continue;
            }
            const OdStyle style = m_target.document.style(m_scope, "table-column", each.get("table:style-name"));
            const char* const kProperties = "style:table-column-properties";
            double width = od_length(style.get(kProperties, "style:column-width"), 0);
            if (width <= 0) {
                // "2*" is a share; alone it makes a width in proportion as good as any other.
                width = od_number(style.get(kProperties, "style:rel-column-width"), 0);
            }
            const size_t count = times(each, "table:number-columns-repeated");
            if (m_widths.size() + count > static_cast<size_t>(imagework::limits::kFillSteps)) {
                too_many();
            }
            m_widths.insert(m_widths.end(), count, std::max(0.0, width));
            m_column_styles.insert(m_column_styles.end(), count, each.get("table:default-cell-style-name"));
        }
    }

    void take_rows(const OdNode& element) {
        for (const OdNode& each : element.children) {
            if (!each.is("table:table-row")) {
                if (each.name.starts_with("table:table-row") || each.is("table:table-header-rows")) {
                    take_rows(each);
                }
                continue;
            }
            const OdStyle style = m_target.document.style(m_scope, "table-row", each.get("table:style-name"));
            const char* const kProperties = "style:table-row-properties";
            const double height = std::max(od_length(style.get(kProperties, "style:row-height"), 0),
                                           od_length(style.get(kProperties, "style:min-row-height"), 0));
            const size_t count = times(each, "table:number-rows-repeated");
            if (m_rows.size() + count > static_cast<size_t>(imagework::limits::kFillSteps)) {
                too_many();
            }
            m_rows.insert(m_rows.end(), count, Row{&each, height, each.get("table:default-cell-style-name")});
        }
    }

    void take_cells() {
        size_t columns = m_widths.size();
        size_t steps = 0;
        for (size_t row = 0; row < m_rows.size(); row++) {
            size_t column = 0;
            for (const OdNode& each : m_rows[row].element->children) {
                const bool covered = each.is("table:covered-table-cell");
                if (!covered && !each.is("table:table-cell")) {
                    continue;
                }
                const size_t count = times(each, "table:number-columns-repeated");
                for (size_t i = 0; i < count && !covered; i++) {
                    if (++steps > static_cast<size_t>(imagework::limits::kFillSteps)) {
                        too_many();
                    }
                    Cell cell;
                    cell.element = &each;
                    cell.row = row;
                    cell.column = column + i;
                    cell.rows = std::min(times(each, "table:number-rows-spanned"), m_rows.size() - row);
                    cell.columns = times(each, "table:number-columns-spanned");
                    m_cells.push_back(std::move(cell));
                }
                column += count;
            }
            columns = std::max(columns, column);
        }
        if (columns > static_cast<size_t>(imagework::limits::kFillSteps)) {
            too_many();
        }
        m_widths.resize(columns, 0);
        m_column_styles.resize(columns);
        std::erase_if(m_cells, [&](const Cell& cell) { return cell.column >= columns; });
        for (Cell& cell : m_cells) {
            cell.columns = std::min(cell.columns, columns - cell.column);
            cell.style = style_of(cell);
        }
    }

    // The style of the cell itself, and what the template says for its place.
    OdStyle style_of(const Cell& cell) const {
        std::string_view name = cell.element->get("table:style-name");
        if (name.empty()) {
            name = m_rows[cell.row].cell_style;
        }
        if (name.empty()) {
            name = m_column_styles[cell.column];
        }
        OdStyle style = m_target.document.style(m_scope, "table-cell", name, false);
        if (m_template != nullptr) {
            const auto add = [&](bool applies, const char* part) {
                const OdNode* element = applies ? m_template->child(part) : nullptr;
                if (element != nullptr) {
                    style.inherit(
                        m_target.document.style(m_scope, "table-cell", element->get("table:style-name"), false));
                }
            };
            const auto uses = [&](const char* attribute) { return od_bool(m_table.get(attribute), false); };
            const bool bands = uses("table:use-banding-rows-styles");
            const bool column_bands = uses("table:use-banding-columns-styles");
            const bool first_row = uses("table:use-first-row-styles"),
                       first_column = uses("table:use-first-column-styles");
            add(first_row && cell.row == 0, "table:first-row");
            add(uses("table:use-last-row-styles") && cell.row + cell.rows == m_rows.size(), "table:last-row");
            add(first_column && cell.column == 0, "table:first-column");
            add(uses("table:use-last-column-styles") && cell.column + cell.columns == m_widths.size(),
                "table:last-column");
            // Bands begin behind the first row and column.
            const bool even_row = (cell.row - (first_row && cell.row > 0 ? 1 : 0)) % 2 == 0;
            const bool even_column = (cell.column - (first_column && cell.column > 0 ? 1 : 0)) % 2 == 0;
            add(bands && even_row, "table:even-rows");
            add(bands && !even_row, "table:odd-rows");
            add(column_bands && even_column, "table:even-columns");
            add(column_bands && !even_column, "table:odd-columns");
            add(true, "table:body");
        }
        style.inherit(m_target.document.style(m_scope, "table-cell", {}));
        style.inherit(m_target.document.style(m_scope, "graphic", {}));
        return style;
    }

    // Columns fill the frame, in proportion to their widths.
    void place_columns() {
        double sum = 0;
        for (double& width : m_widths) {
            width = width > 0 ? width : kUsualSide;
            sum += width;
        }
        const double scale = m_place.width > 0 ? m_place.width / sum : 1;
        m_lefts = {0};
        for (const double width : m_widths) {
            m_lefts.push_back(m_lefts.back() + width * scale);
        }
    }

    // Rows are at least as high as the texts in them; the last one that a cell covers grows for it. Where no row states
    // a height, they share that of the frame.
    void place_rows() {
        std::vector<double> heights;
        bool any = false;
        for (const Row& row : m_rows) {
            heights.push_back(row.height);
            any = any || row.height > 0;
        }
        if (!any && !heights.empty()) {
            std::fill(heights.begin(), heights.end(), m_place.height / static_cast<double>(heights.size()));
        }
        for (const Cell& cell : m_cells) {
            const RectD area{0, 0, m_lefts[cell.column + cell.columns] - m_lefts[cell.column], 0};
            double needed = od_text_height(m_target, *cell.element, text_place(cell, area, {}));
            for (size_t i = 0; i + 1 < cell.rows; i++) {
                needed -= heights[cell.row + i];
            }
            double& last = heights[cell.row + cell.rows - 1];
            last = std::max(last, needed);
        }
        m_tops = {0};
        for (const double height : heights) {
            m_tops.push_back(m_tops.back() + height);
        }
    }

    OdTextPlace text_place(const Cell& cell, const RectD& area, const Affine& map) const {
        OdTextPlace place;
        place.scope = m_scope;
        place.shape = &cell.style;
        place.area = area;
        place.placing = map;
        place.page_number = m_page_number;
        return place;
    }

    void fill(const Cell& cell, const Affine& map) {
        const Outline outline{rectangle_contour(cell.area)};
        OdPainter painter(m_target, cell.style);
        if (const auto color = od_color(cell.style.get("style:table-cell-properties", "fo:background-color"));
            color && cell.style.find(kCellGraphic, "draw:fill") == nullptr) {
            drawwork::Paint paint;
            paint.color = *color;
            m_target.canvas.fill(transformed(outline, map), FillRule::kAlternate, paint, m_target.smooth);
            return;
        }
        painter.fill(outline, map);
    }

    // Of two cells that meet the wider border is drawn, once.
    void borders(const Affine& map) {
        // By whether it is upright, the line of the grid, and the row or column along it.
        std::map<std::tuple<bool, size_t, size_t>, Border> lines;
        const auto add = [&](bool upright, size_t line, size_t first, size_t count,
                             const std::optional<Border>& border) {
            for (size_t i = 0; border && i < count; i++) {
                Border& known = lines[{upright, line, first + i}];
                if (border->width > known.width) {
                    known = *border;
                }
            }
        };
        for (const Cell& cell : m_cells) {
            const auto side = [&](const char* name) {
                for (const char* properties : {"style:table-cell-properties", "style:paragraph-properties"}) {
                    for (const std::string& attribute : {"fo:border-" + std::string(name), std::string("fo:border")}) {
                        if (const std::string* text = cell.style.find(properties, attribute)) {
                            return border_of(*text);
                        }
                    }
                }
                return std::optional<Border>();
            };
            add(true, cell.column, cell.row, cell.rows, side("left"));
            add(true, cell.column + cell.columns, cell.row, cell.rows, side("right"));
            add(false, cell.row, cell.column, cell.columns, side("top"));
            add(false, cell.row + cell.rows, cell.column, cell.columns, side("bottom"));
        }
        for (const auto& [place, border] : lines) {
            const auto& [upright, line, along] = place;
            const std::vector<double>& ends = upright ? m_tops : m_lefts;
            const double at = upright ? m_lefts[line] : m_tops[line];
            // Corners are filled.
            const double half = border.width / 2;
            const double from = ends[along] - half, to = ends[along + 1] + half;
            const RectD box = upright ? RectD{at - half, from, border.width, to - from}
                                      : RectD{from, at - half, to - from, border.width};
            drawwork::Paint paint;
            paint.color = border.color;
            m_target.canvas.fill(transformed({rectangle_contour(box)}, map), FillRule::kAlternate, paint,
                                 m_target.smooth);
        }
    }

    OdCanvas& m_target;
    const OdNode& m_table;
    OdScope m_scope;
    const OdShapePlace& m_place;
    size_t m_page_number;
    const OdNode* m_template = nullptr;
    std::vector<double> m_widths;
    std::vector<std::string_view> m_column_styles;
    std::vector<Row> m_rows;
    std::vector<Cell> m_cells;
    std::vector<double> m_lefts, m_tops;  // of the columns and rows, and the end of the last one
};

}  // namespace

void draw_od_table(OdCanvas& target, const OdNode& table, OdScope scope, const OdShapePlace& place, const Affine& map,
                   size_t page_number) {
    Table(target, table, scope, place, page_number).draw(map);
}

}  // namespace zelmor::embed
