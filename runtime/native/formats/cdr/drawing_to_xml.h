// Writes what a parser of drawings reports as a flat OpenDocument drawing.
//
// The parser's interface has the model of OpenDocument: its lists of properties have the names of that format's
// attributes. So a shape's properties become a style of its own, and the drawing can be read as any other document.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_DRAWING_TO_XML_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_DRAWING_TO_XML_H

#include <librevenge/librevenge.h>

#include <string>

namespace zelmor::embed {

class DrawingToXml final : public librevenge::RVNGDrawingInterface {
 public:
    using Properties = librevenge::RVNGPropertyList;

    // The document; empty where the drawing had no page.
    std::string take() const;

    void startDocument(const Properties&) override {}
    void endDocument() override {}
    void setDocumentMetaData(const Properties&) override {}
    void defineEmbeddedFont(const Properties&) override {}
    void startPage(const Properties& properties) override;
    void endPage() override;
    void startMasterPage(const Properties& properties) override;
    void endMasterPage() override;
    void setStyle(const Properties& properties) override;
    void startLayer(const Properties&) override { open("<draw:g>"); }
    void endLayer() override { close("</draw:g>"); }
    void startEmbeddedGraphics(const Properties&) override { open("<draw:g>"); }
    void endEmbeddedGraphics() override { close("</draw:g>"); }
    void openGroup(const Properties&) override { open("<draw:g>"); }
    void closeGroup() override { close("</draw:g>"); }
    void drawRectangle(const Properties& properties) override;
    void drawEllipse(const Properties& properties) override;
    void drawPolygon(const Properties& properties) override;
    void drawPolyline(const Properties& properties) override;
    void drawPath(const Properties& properties) override;
    void drawGraphicObject(const Properties& properties) override;
    void drawConnector(const Properties& properties) override;
    void startTextObject(const Properties& properties) override;
    void endTextObject() override;
    void startTableObject(const Properties&) override {}
    void openTableRow(const Properties&) override {}
    void closeTableRow() override {}
    void openTableCell(const Properties&) override {}
    void closeTableCell() override {}
    void insertCoveredTableCell(const Properties&) override {}
    void endTableObject() override {}
    void insertTab() override { m_body += "<text:tab/>"; }
    void insertSpace() override { m_body += "<text:s/>"; }
    void insertText(const librevenge::RVNGString& text) override;
    void insertLineBreak() override { m_body += "<text:line-break/>"; }
    void insertField(const Properties&) override {}
    void openOrderedListLevel(const Properties&) override {}
    void openUnorderedListLevel(const Properties&) override {}
    void closeOrderedListLevel() override {}
    void closeUnorderedListLevel() override {}
    void openListElement(const Properties& properties) override { openParagraph(properties); }
    void closeListElement() override { closeParagraph(); }
    void defineParagraphStyle(const Properties&) override {}
    void openParagraph(const Properties& properties) override;
    void closeParagraph() override { m_body += "</text:p>"; }
    void defineCharacterStyle(const Properties&) override {}
    void openSpan(const Properties& properties) override;
    void closeSpan() override { m_body += "</text:span>"; }
    void openLink(const Properties&) override {}
    void closeLink() override {}

 private:
    void open(const char* element);
    void close(const char* element);
    // Adds a style with the properties, and gives its name.
    std::string style(const char* family, const char* element, const Properties& properties);
    void definitions(const Properties& properties, std::string& attributes);
    void points(const Properties& properties, bool closed);
    void path(const librevenge::RVNGPropertyListVector& steps);
    std::string place(const Properties& properties) const;

    std::string m_styles, m_masters, m_body;
    Properties m_style;
    size_t m_names = 0;
    size_t m_pages = 0;
    size_t m_depth = 0;  // of groups
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_DRAWING_TO_XML_H
