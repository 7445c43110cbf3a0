// PDF files on cairo; see cairo_document.h.
#include "runtime/native/drawwork/cairo_document.h"

#include <cairo-pdf.h>

#include <exception>
#include <utility>

#include "runtime/native/drawwork/cairo_drawing.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::drawwork {
namespace {

// Pixels of which cairo makes what a PDF cannot say otherwise, for each inch.
constexpr double kFallbackResolution = 300;

class CairoPdf final : public CairoDrawing<Document> {
 public:
    CairoPdf(const DocumentSettings& settings, imagework::ByteSink& out) : m_out(out) {
        m_surface.reset(cairo_pdf_surface_create_for_stream(&CairoPdf::write, this, 1, 1));
        check(cairo_surface_status(m_surface.get()), "the document cannot be written");
        cairo_pdf_surface_restrict_to_version(m_surface.get(), CAIRO_PDF_VERSION_1_5);
        cairo_surface_set_fallback_resolution(m_surface.get(), kFallbackResolution, kFallbackResolution);
        describe(CAIRO_PDF_METADATA_TITLE, settings.title);
        describe(CAIRO_PDF_METADATA_AUTHOR, settings.author);
        describe(CAIRO_PDF_METADATA_SUBJECT, settings.subject);
        describe(CAIRO_PDF_METADATA_KEYWORDS, settings.keywords);
    }
    // A document that is given up: what the library writes at its end goes nowhere. It writes it here, since the
    // context, which keeps the surface, lives longer than the members of this class.
    ~CairoPdf() override {
        m_given_up = true;
        cairo_surface_finish(m_surface.get());
    }

    void page(double width, double height) override {
        if (m_has_page) {
            cairo_show_page(cairo());
            end_context();
        }
        cairo_pdf_surface_set_size(m_surface.get(), width, height);
        draw_on(m_surface.get(), "the document cannot be drawn on");
        m_has_page = true;
        settle();
    }

    void finish() override {
        if (m_has_page) {
            cairo_show_page(cairo());
            end_context();
        }
        cairo_surface_finish(m_surface.get());
        settle();
    }

 private:
    static cairo_status_t write(void* self, const unsigned char* bytes, unsigned int count) {
        auto& document = *static_cast<CairoPdf*>(self);
        if (document.m_given_up || document.m_failure != nullptr) {
            return CAIRO_STATUS_WRITE_ERROR;
        }
        try {
            document.m_out.write({bytes, count});
            return CAIRO_STATUS_SUCCESS;
        } catch (...) {
            document.m_failure = std::current_exception();  // it cannot pass through the library
            return CAIRO_STATUS_WRITE_ERROR;
        }
    }

    void settle() {
        if (m_failure != nullptr) {
            std::rethrow_exception(std::exchange(m_failure, nullptr));
        }
        check(cairo_surface_status(m_surface.get()), "the document cannot be written");
    }

    void describe(cairo_pdf_metadata_t what, const std::string& text) {
        if (!text.empty()) {
            cairo_pdf_surface_set_metadata(m_surface.get(), what, text.c_str());
        }
    }

    imagework::ByteSink& m_out;
    std::exception_ptr m_failure;
    bool m_given_up = false;
    bool m_has_page = false;
    Surface m_surface;
};

}  // namespace

std::unique_ptr<Document> make_pdf(const DocumentSettings& settings, imagework::ByteSink& out) {
    return std::make_unique<CairoPdf>(settings, out);
}

}  // namespace zelmor::drawwork
