// Edits lines on a terminal: a prompt, cursor keys, a history.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/lineEditor.h"

#include <histedit.h>
#include <locale.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cwchar>
#include <new>
#include <utility>

#include "host/output/standardStreams.h"

namespace halvexctl {
namespace {

constexpr int kKeptLines = 1'000;

char* prompt(EditLine*) {
    static char text[] = "halvexctl> ";
    return text;
}

/// UTF-8 for this thread and scope; the process, and the library in it, stay in the C locale.
class Utf8 {
public:
    Utf8() : locale_(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), before_(::uselocale(locale_)) {}
    ~Utf8() {
        ::uselocale(before_);
        if (locale_ != nullptr) {
            ::freelocale(locale_);
        }
    }
    Utf8(const Utf8&) = delete;
    Utf8& operator=(const Utf8&) = delete;

private:
    locale_t locale_, before_;
};

}  // namespace

LineEditor::LineEditor(int fd, NextByte nextByte)
    : nextByte_(std::move(nextByte)),
      history_(::history_init()),
      editor_(::el_init_fd("halvexctl", stdin, stderr, stderr, fd, STDERR_FILENO, STDERR_FILENO)) {
    if (history_ == nullptr || editor_ == nullptr) {
        throw std::bad_alloc();
    }
    HistEvent event{};
    ::history(history_, &event, H_SETSIZE, kKeptLines);
    ::history(history_, &event, H_SETUNIQUE, 1);
    ::el_set(editor_, EL_CLIENTDATA, this);
    ::el_set(editor_, EL_PROMPT, &prompt);
    ::el_set(editor_, EL_EDITOR, "emacs");
    ::el_set(editor_, EL_HIST, &::history, history_);
    ::el_set(editor_, EL_GETCFN, &LineEditor::readCharacter);
    const Utf8 utf8;
    for (int letter = 0xa0; letter <= 0xff; ++letter) {  // the micro sign among them; otherwise keys with Meta
        const std::array<char, 3> key{static_cast<char>(0xc0 | (letter >> 6)),
                                      static_cast<char>(0x80 | (letter & 0x3f))};
        ::el_set(editor_, EL_BIND, key.data(), "ed-insert", nullptr);
    }
}

LineEditor::~LineEditor() {
    ::el_end(editor_);
    ::history_end(history_);
}

int LineEditor::readCharacter(editline* editor, wchar_t* character) noexcept {
    LineEditor* self = nullptr;
    ::el_get(editor, EL_CLIENTDATA, &self);
    std::mbstate_t state{};
    try {
        while (const std::optional<char> byte = self->nextByte_()) {
            const std::size_t length = std::mbrtowc(character, &*byte, 1, &state);
            if (length <= 1) {
                return 1;
            }
            if (length == static_cast<std::size_t>(-1)) {
                state = {};  // not UTF-8: dropped
            }
        }
    } catch (...) {
        self->failure_ = std::current_exception();  // the editor is C
    }
    return 0;
}

std::optional<std::string> LineEditor::line() {
    const Utf8 utf8;
    int length = 0;
    ::el_set(editor_, EL_PREP_TERM, 1);  // before the prompt, which otherwise comes while the terminal still edits
    const char* text = ::el_gets(editor_, &length);
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
    if (text == nullptr || length <= 0) {
        put(stderr, "\n");
        return std::nullopt;
    }
    HistEvent event{};
    std::string line(text, static_cast<std::size_t>(length));
    line.erase(line.find_last_not_of("\r\n") + 1);
    if (!line.empty()) {
        ::history(history_, &event, H_ENTER, text);
    }
    return line;
}

}  // namespace halvexctl
