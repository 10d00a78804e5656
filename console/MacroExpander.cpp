#include "console/MacroExpander.h"

namespace {

enum class Action { keep, callsign, location, qso, lineFeed, backslash, sendNow };

struct Escape {
    char16_t letter;
    Action onButton;
    Action beforeSending;
};

constexpr Escape kEscapes[] = {
    {u'C', Action::keep, Action::callsign},
    {u'L', Action::keep, Action::location},
    {u'S', Action::qso, Action::qso},
    {u'n', Action::keep, Action::lineFeed},
    {u'\\', Action::backslash, Action::backslash},
    {u'X', Action::sendNow, Action::keep},
};

// One character of the text: its low 8 bits, kept only if that is ASCII.
void appendCharacter(std::u16string& out, char16_t character) {
    const auto low = static_cast<char16_t>(character & 0xffu);
    if (low <= 127)
        out.push_back(low);
}

} // namespace

bool MacroExpander::expand(std::u16string_view text, Pass pass, std::u16string& out) const {
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t c = text[i];
        if (c != u'\\' || i + 1 == text.size()) {
            appendCharacter(out, c);
            continue;
        }
        const char16_t letter = text[++i];
        Action action = Action::keep;
        for (const Escape& escape : kEscapes)
            if (escape.letter == letter)
                action = pass == Pass::button ? escape.onButton : escape.beforeSending;
        switch (action) {
        case Action::keep:
            appendCharacter(out, u'\\');
            appendCharacter(out, letter);
            break;
        case Action::callsign:
            out += values.callsign.value_or(std::u16string());
            break;
        case Action::location:
            out += values.location.value_or(std::u16string());
            break;
        case Action::qso:
            out += values.qso;
            break;
        case Action::lineFeed:
            appendCharacter(out, u'\n');
            break;
        case Action::backslash:
            appendCharacter(out, u'\\');
            break;
        case Action::sendNow:
            return true;
        }
    }
    return false;
}

MacroExpander::ButtonResult MacroExpander::expandForButton(std::u16string_view macro) const {
    ButtonResult result;
    result.sendNow = expand(macro, Pass::button, result.text);
    return result;
}

std::u16string MacroExpander::expandForSending(std::u16string_view text) const {
    std::u16string out;
    expand(text, Pass::sending, out);
    return out;
}
