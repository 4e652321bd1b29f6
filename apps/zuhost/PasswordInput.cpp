#include "apps/zuhost/PasswordInput.h"

#include "apps/zuhost/Shell.h"
#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Terminal.h"
#include "platform/Text.h"
#include "server/rights/Passwords.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

namespace zutools::zuhost {

namespace {

constexpr std::size_t MaxBytes = server::TPasswordText::MaxBytes;

/// Bytes of standard input, wiped at their end.
class TInput {
public:
    TInput() = default;
    ~TInput() { server::WipeText(FBytes); }
    TInput(const TInput&) = delete;
    TInput& operator=(const TInput&) = delete;

    /// To the end of the line at a terminal, to the end of the input otherwise.
    void Read(bool Terminal) {
        FBytes.assign(MaxBytes + 3, '\0'); // never grows, so no copy stays behind
        std::size_t Size = 0;
        while (Size < FBytes.size()) {
            const ssize_t Got = read(STDIN_FILENO, FBytes.data() + Size, FBytes.size() - Size);
            if (Got < 0 && errno == EINTR) continue;
            if (Got < 0) throw Exception(u"cannot read standard input: " + platform::SystemErrorText(errno));
            Size += static_cast<std::size_t>(Got);
            if (Got == 0 || (Terminal && FBytes[Size - 1] == '\n')) break;
        }
        FBytes.resize(Size);
    }

    /// The line without its end, as text.
    void Take(std::u16string& Text) const {
        std::string_view Line = FBytes;
        if (Line.empty()) throw Exception(u"there is no password on standard input");
        if (Line.ends_with('\n')) Line.remove_suffix(1);
        if (Line.ends_with('\r')) Line.remove_suffix(1);
        if (Line.size() > MaxBytes) throw Exception(u"the password is longer than 1024 bytes");
        if (Line.find('\n') != Line.npos) throw Exception(u"the password is more than one line");
        auto Decoded = platform::Utf8ToUtf16Strict(Line);
        Text = std::move(Decoded.Text);
        if (Decoded.Error) throw Exception(u"the password is malformed UTF-8");
    }

private:
    std::string FBytes;
};

void Ask(std::u16string_view Question) {
    const std::string Bytes = platform::Utf16ToUtf8(Question);
    std::fwrite(Bytes.data(), 1, Bytes.size(), stderr);
}

void AskOnce(std::u16string_view Question, TTypedPassword& Password) {
    TInput Input;
    {
        const platform::TNoEcho NoEcho;
        Ask(Question);
        Input.Read(true);
        Ask(u"\n"); // the one that was typed is not shown
    }
    Input.Take(Password.Text);
}

} // namespace

TTypedPassword::~TTypedPassword() {
    server::WipeText(Text);
}

void ReadPassword(std::u16string_view User, TTypedPassword& Password) {
    if (!platform::InputIsTerminal()) {
        TInput Input;
        Input.Read(false);
        Input.Take(Password.Text);
        return;
    }
    AskOnce(u"Password of " + std::u16string(User) + u": ", Password);
    TTypedPassword Again;
    AskOnce(u"Once more: ", Again);
    if (Again.Text != Password.Text) throw Exception(u"the two passwords differ; nothing was changed");
}

} // namespace zutools::zuhost
