// A stream of the host behind a managed one.
#include <algorithm>
#include <climits>
#include <string>

#include "runtime/native/c_api/host_side.h"
#include "runtime/native/c_api/turns.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

std::string text_of(const zelmor_pictures_value& value) {
    if (value.kind != ZELMOR_PICTURES_TEXT) {
        return {};
    }
    return to_utf8({static_cast<const char16_t*>(value.data), static_cast<size_t>(value.length)});
}

[[noreturn]] void throw_host_error() {
    zelmor_pictures_value name = {};
    zelmor_pictures_value text = {};
    host_functions().error(&name, &text);
    throw ManagedException(text_of(name), text_of(text));
}

class HostStream final : public ManagedStream {
 public:
    explicit HostStream(int64_t number)
        : ManagedStream(intern_type("Zelmor.Pictures.HostStream", TypeKind::kClass, &stream_type())),
          m_number(number) {}
    ~HostStream() override { host_functions().free_stream(m_number); }

    int64_t number() const { return m_number; }

    bool can_read() const override { return can(0); }
    bool can_write() const override { return can(1); }
    bool can_seek() const override { return can(2); }
    int64_t length() override { return asked(host_functions().length); }
    int64_t position() override { return seek(0, static_cast<api::SeekOrigin>(1)); }
    int64_t seek(int64_t offset, api::SeekOrigin origin) override {
        return asked(host_functions().seek, offset, static_cast<int32_t>(origin));
    }
    void set_length(int64_t length) override { asked(host_functions().set_length, length); }
    size_t read(std::span<std::byte> into) override {
        const auto most = static_cast<int32_t>(std::min<size_t>(into.size(), INT_MAX));
        const int32_t count = most > 0 ? asked(host_functions().read, static_cast<void*>(into.data()), most) : 0;
        if (count > most) {
            throw ManagedException("IOException", "The stream answered that it has read " + std::to_string(count) +
                                                      " bytes, but it had room for " + std::to_string(most) + ".");
        }
        return static_cast<size_t>(count);
    }
    void write(std::span<const std::byte> from) override {
        while (!from.empty()) {
            const auto count = static_cast<int32_t>(std::min<size_t>(from.size(), INT_MAX));
            asked(host_functions().write, static_cast<const void*>(from.data()), count);
            from = from.subspan(static_cast<size_t>(count));
        }
    }
    void flush() override { asked(host_functions().flush); }
    void on_dispose() override { asked(host_functions().close); }

 private:
    template <class R, class... P, class... A>
    R asked(R (*function)(int64_t, P...), A... arguments) const {
        R answer;
        {
            const Pause pause;
            answer = function(m_number, arguments...);
        }
        if (answer < 0) {
            throw_host_error();
        }
        return answer;
    }
    bool can(int32_t what) const { return asked(host_functions().can, what) != 0; }

    int64_t m_number;
};

}  // namespace

Ref<ManagedStream> make_host_stream(int64_t number) {
    return make_ref<HostStream>(number);
}

int64_t host_stream_number(const ManagedObject& object) {
    const auto* stream = dynamic_cast<const HostStream*>(&object);
    return stream != nullptr ? stream->number() : -1;
}

}  // namespace zelmor::embed
