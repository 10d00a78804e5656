// The backslash escapes of macro texts and typed text, expanded in two
// passes from one table:
//
//   escape  pressing a macro button          before every send
//   \C      kept                             the call sign (nothing if unset)
//   \L      kept                             the location (nothing if unset)
//   \S      the QSO field's text             the QSO field's text
//   \n      kept                             a line feed
//   \\      one backslash                    one backslash
//   \X      send now; the rest is dropped    kept
//
// An escape is a backslash and the next character, matched case-sensitively;
// any other escape, and a backslash at the very end, is kept as it stands.
// Because the button pass turns \\ into one backslash, the send pass reads
// that backslash as the start of an escape: "\\n" from a macro ends up as a
// line feed.
//
// Text is UTF-16 code units. Every character of the text itself, kept
// escapes included, is cut to its low 8 bits and dropped unless that is ASCII
// (the station sends 7-bit text: 'é' is dropped, U+0141 becomes 'A'); the
// call sign, location and QSO text go in whole.
#pragma once

#include <optional>
#include <string>
#include <string_view>

class MacroExpander {
public:
    // What the escapes stand for, read at the moment of use.
    struct Values {
        std::optional<std::u16string> callsign;
        std::optional<std::u16string> location;
        std::u16string qso;
    };

    // The button pass: the text to add to the input field, and whether the
    // macro asked to send at once (\X; the rest of the macro is dropped).
    struct ButtonResult {
        std::u16string text;
        bool sendNow = false;
    };

    explicit MacroExpander(Values values) : values(std::move(values)) {}

    ButtonResult expandForButton(std::u16string_view macro) const;
    // The send pass over the whole input field.
    std::u16string expandForSending(std::u16string_view text) const;

private:
    enum class Pass { button, sending };
    // Appends `text` expanded by `pass`; true when it stopped at \X.
    bool expand(std::u16string_view text, Pass pass, std::u16string& out) const;

    Values values;
};
