// Documents and pages by ddjvuapi; see djvu_session.h.
#include "runtime/native/formats/djvu/djvu_session.h"

#include <libdjvu/ddjvuapi.h>
#include <libdjvu/miniexp.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <optional>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

using namespace std::chrono_literals;

// Longer than any page takes whose size the header part accepts.
constexpr auto kMostWait = 120s;
constexpr size_t kPiece = size_t{64} << 10;

}  // namespace

struct DjvuSession::State {
    std::mutex mutex;
    std::condition_variable news;
    bool has_news = false;  // under the mutex
    std::string error;      // the first one; under the mutex
    ddjvu_context_t* context = nullptr;
    ddjvu_document_t* document = nullptr;

    // Called by a thread of the library.
    static void notice(ddjvu_context_t*, void* self) {
        auto* state = static_cast<State*>(self);
        const std::lock_guard lock(state->mutex);
        state->has_news = true;
        state->news.notify_all();
    }

    void drain() {
        while (const ddjvu_message_t* message = ddjvu_message_peek(context)) {
            if (message->m_any.tag == DDJVU_ERROR && message->m_error.message != nullptr) {
                const std::lock_guard lock(mutex);
                if (error.empty()) {
                    error = message->m_error.message;
                }
            } else if (message->m_any.tag == DDJVU_NEWSTREAM && message->m_newstream.streamid != 0) {
                // Another file, which is never opened.
                ddjvu_stream_close(message->m_any.document, message->m_newstream.streamid, TRUE);
            }
            ddjvu_message_pop(context);
        }
    }

    // Waits for a job to end, or for other news that `done` asks for.
    bool wait(const std::function<bool()>& done) {
        const auto end = std::chrono::steady_clock::now() + kMostWait;
        for (;;) {
            drain();
            if (done()) {
                drain();
                return true;
            }
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            // The status may change without a message, so that it is asked now and then.
            std::unique_lock lock(mutex);
            news.wait_for(lock, 20ms, [this] { return has_news; });
            has_news = false;
        }
    }

    void require(const std::function<bool()>& done) {
        if (!wait(done)) {
            throw PictureError(Failure::kInternal, "decoding a DjVu page does not come to an end");
        }
    }

    std::string take_error() {
        const std::lock_guard lock(mutex);
        std::string found = std::move(error);
        error.clear();
        const size_t end = found.find_first_of("\t\n");  // arguments of the message follow
        return end == std::string::npos ? found : found.substr(0, end);
    }

    ~State() {
        if (document != nullptr) {
            ddjvu_job_stop(ddjvu_document_job(document));
            ddjvu_document_release(document);
        }
        if (context != nullptr) {
            ddjvu_message_set_callback(context, nullptr, nullptr);
            while (ddjvu_message_peek(context) != nullptr) {
                ddjvu_message_pop(context);
            }
            ddjvu_context_release(context);
        }
    }
};

DjvuSession::DjvuSession(const DataSource& source, uint64_t at, uint64_t size) : m_state(std::make_unique<State>()) {
    m_state->context = ddjvu_context_create("zelmor");
    if (m_state->context == nullptr) {
        throw PictureError(Failure::kInternal, "the DjVu library cannot be started");
    }
    ddjvu_cache_set_size(m_state->context, 1);  // pages are kept by their readers
    ddjvu_message_set_callback(m_state->context, &State::notice, m_state.get());
    m_state->document = ddjvu_document_create(m_state->context, nullptr, FALSE);
    if (m_state->document == nullptr) {
        throw PictureError(Failure::kInternal, "the DjVu library cannot open a document");
    }
    constexpr char kMagic[] = {'A', 'T', '&', 'T'};
    ddjvu_stream_write(m_state->document, 0, kMagic, sizeof(kMagic));
    std::vector<uint8_t> piece;
    for (uint64_t done = 0; done < size;) {
        piece.resize(static_cast<size_t>(std::min<uint64_t>(kPiece, size - done)));
        const size_t count = source.read_at(at + done, piece);
        if (count == 0) {
            break;
        }
        ddjvu_stream_write(m_state->document, 0, reinterpret_cast<const char*>(piece.data()), count);
        done += count;
    }
    ddjvu_stream_close(m_state->document, 0, FALSE);
    m_state->require([this] { return ddjvu_document_decoding_done(m_state->document); });
    if (ddjvu_document_decoding_error(m_state->document)) {
        djvu_damaged("the document makes no sense: " + m_state->take_error());
    }
}

DjvuSession::~DjvuSession() = default;

struct DjvuDecodedPage::State {
    std::shared_ptr<DjvuSession> session;
    ddjvu_page_t* page = nullptr;

    ~State() {
        if (page == nullptr) {
            return;
        }
        if (!ddjvu_page_decoding_done(page)) {
            ddjvu_job_stop(ddjvu_page_job(page));
            session->m_state->wait([this] { return ddjvu_page_decoding_done(page); });
        }
        ddjvu_page_release(page);
    }
};

DjvuDecodedPage::DjvuDecodedPage(std::shared_ptr<DjvuSession> session, int number, bool lenient)
    : m_state(std::make_unique<State>()) {
    m_state->session = std::move(session);
    DjvuSession::State& document = *m_state->session->m_state;
    document.take_error();
    m_state->page = ddjvu_page_create_by_pageno(document.document, number);
    if (m_state->page == nullptr) {
        djvu_damaged("a page cannot be found");
    }
    ddjvu_page_t* const page = m_state->page;
    document.require([page] { return ddjvu_page_decoding_done(page); });
    const std::string error = document.take_error();
    if (!lenient && (ddjvu_page_decoding_error(page) || !error.empty())) {
        djvu_damaged(error.empty() ? "a page cannot be decoded" : "a page cannot be decoded: " + error);
    }
}

DjvuDecodedPage::~DjvuDecodedPage() = default;

bool DjvuDecodedPage::draw(DjvuLayer layer, int32_t width, int32_t height, int32_t first, int32_t count,
                           DjvuPixels pixels, std::span<uint8_t> rows) const {
    constexpr std::array<ddjvu_render_mode_t, 4> kModes{DDJVU_RENDER_COLOR, DDJVU_RENDER_MASKONLY,
                                                        DDJVU_RENDER_FOREGROUND, DDJVU_RENDER_BACKGROUND};
    const size_t row = static_cast<size_t>(width) * (pixels == DjvuPixels::kGray ? 1 : 3);
    assert(rows.size() == row * static_cast<size_t>(count));
    const std::unique_ptr<ddjvu_format_t, void (*)(ddjvu_format_t*)> format(
        ddjvu_format_create(pixels == DjvuPixels::kGray ? DDJVU_FORMAT_GREY8 : DDJVU_FORMAT_RGB24, 0, nullptr),
        &ddjvu_format_release);
    if (format == nullptr) {
        throw std::bad_alloc();
    }
    ddjvu_format_set_row_order(format.get(), TRUE);
    ddjvu_format_set_y_direction(format.get(), TRUE);
    const ddjvu_rect_t all{0, 0, static_cast<unsigned>(width), static_cast<unsigned>(height)};
    const ddjvu_rect_t part{0, first, static_cast<unsigned>(width), static_cast<unsigned>(count)};
    const bool drawn = ddjvu_page_render(m_state->page, kModes[static_cast<size_t>(layer)], &all, &part, format.get(),
                                         static_cast<unsigned long>(row), reinterpret_cast<char*>(rows.data())) != 0;
    m_state->session->m_state->drain();
    return drawn;
}

namespace {

// The words below an expression (type x0 y0 x1 y1 content...), whose content is a text or expressions.
void collect(miniexp_t expression, int32_t page_height, int depth, std::vector<DjvuWord>& words) {
    constexpr int kMostDepth = 16;
    constexpr size_t kMostWords = 1'000'000;
    constexpr int kFields = 5;
    if (depth > kMostDepth || words.size() > kMostWords || miniexp_length(expression) < kFields) {
        return;
    }
    std::array<int32_t, kFields> box{};
    for (int i = 1; i < kFields; i++) {
        box[static_cast<size_t>(i)] = miniexp_to_int(miniexp_nth(i, expression));
    }
    const miniexp_t type = miniexp_car(expression);
    miniexp_t rest = expression;
    for (int i = 0; i < kFields; i++) {
        rest = miniexp_cdr(rest);
    }
    for (; miniexp_consp(rest) != 0; rest = miniexp_cdr(rest)) {
        const miniexp_t item = miniexp_car(rest);
        if (miniexp_stringp(item) != 0) {
            words.push_back({{box[1], page_height - box[4], box[3] - box[1], box[4] - box[2]},
                             miniexp_to_str(item),
                             type != miniexp_symbol("word")});
        } else {
            collect(item, page_height, depth + 1, words);
        }
    }
    if (!words.empty() && type != miniexp_symbol("word") && type != miniexp_symbol("char")) {
        words.back().ends_line = true;
    }
}

}  // namespace

std::vector<DjvuWord> DjvuSession::words(int page, int32_t page_height) {
    miniexp_t text = miniexp_dummy;
    m_state->require([&] {
        text = ddjvu_document_get_pagetext(m_state->document, page, "word");
        return text != miniexp_dummy;
    });
    std::vector<DjvuWord> words;
    try {
        collect(text, page_height, 0, words);
    } catch (...) {
        ddjvu_miniexp_release(m_state->document, text);
        throw;
    }
    ddjvu_miniexp_release(m_state->document, text);
    return words;
}

}  // namespace zelmor::imagework
