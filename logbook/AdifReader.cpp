// The ADI reader. One pass over the text; a field's data is taken by its
// stated length, never by looking for the next '<'.
#include "logbook/Adif.h"

#include <algorithm>
#include <cctype>

namespace logbook {

namespace {

// Longest data the reader takes for one field. Anything longer is a damaged
// length, not a contact.
constexpr size_t kMaxFieldLength = 1 << 20;

bool equalsUpper(std::string_view text, std::string_view upper) {
    return text.size() == upper.size() &&
           std::equal(text.begin(), text.end(), upper.begin(), [](char a, char b) {
               return std::toupper(static_cast<unsigned char>(a)) == b;
           });
}

// Position of the next "<EOR>" (any case) at or after `from`, or npos.
size_t findMarker(std::string_view text, size_t from, std::string_view upperMarker) {
    for (size_t at = text.find('<', from); at != std::string_view::npos;
         at = text.find('<', at + 1)) {
        if (equalsUpper(text.substr(at, upperMarker.size()), upperMarker)) {
            return at;
        }
    }
    return std::string_view::npos;
}

bool isNameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

class Reader {
public:
    Reader(std::string_view text, AdifReading reading) : text(text), reading(reading) {}

    AdifDocument run() {
        // A file that does not start with '<' has a header ending in <EOH>.
        inHeader = !text.empty() && text.front() != '<';
        if (inHeader && reading == AdifReading::Lenient &&
            findMarker(text, 0, "<EOH>") == std::string_view::npos) {
            inHeader = false; // headerless file with text in front of its records
        }
        document.hasHeader = inHeader;
        while (position < text.size() && !stopped) {
            step();
        }
        if (!stopped && !current.empty()) {
            problem(recordStart, "the last record has no end marker <EOR> (cut short?)");
        } else if (!stopped && inHeader) {
            problem(0, "the header has no end marker <EOH>");
        }
        return std::move(document);
    }

private:
    void step() {
        const size_t open = text.find('<', position);
        if (reading == AdifReading::Strict) {
            const size_t end = open == std::string_view::npos ? text.size() : open;
            for (size_t at = position; at < end; ++at) {
                if (!std::isspace(static_cast<unsigned char>(text[at])) && !inHeader) {
                    fault(at, "text outside a field");
                    return;
                }
            }
        }
        if (open == std::string_view::npos) {
            position = text.size();
            return;
        }
        if (current.empty()) {
            recordStart = open;
        }
        size_t at = open + 1;
        const size_t nameStart = at;
        while (at < text.size() && isNameChar(text[at])) {
            ++at;
        }
        std::string name(text.substr(nameStart, at - nameStart));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        if (at >= text.size()) {
            fault(open, "a field specifier is cut short at the end of the file");
            return;
        }
        if (text[at] == '>' && (name == "EOR" || name == "EOH")) {
            position = at + 1;
            endMarker(open, name);
            return;
        }
        if (name.empty() || text[at] != ':') {
            fault(open, "a malformed field specifier");
            return;
        }
        ++at;
        size_t length = 0;
        const size_t digitsStart = at;
        while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) &&
               length <= kMaxFieldLength) {
            length = length * 10 + static_cast<size_t>(text[at] - '0');
            ++at;
        }
        if (at == digitsStart || length > kMaxFieldLength) {
            fault(open, "a field specifier without a valid length");
            return;
        }
        if (at < text.size() && text[at] == ':') { // data type indicator, e.g. ":D"
            ++at;
            while (at < text.size() && std::isalpha(static_cast<unsigned char>(text[at]))) {
                ++at;
            }
        }
        if (at >= text.size() || text[at] != '>') {
            fault(open, at >= text.size() ? "a field specifier is cut short at the end of the file"
                                          : "a malformed field specifier");
            return;
        }
        ++at;
        if (length > text.size() - at) {
            fault(open, "field " + name + " is cut short at the end of the file");
            return;
        }
        std::string_view value = text.substr(at, length);
        // A length that swallows an end marker was damaged: no writer puts
        // "<EOR>" inside a value.
        if (reading == AdifReading::Lenient && !inHeader &&
            findMarker(value, 0, "<EOR>") != std::string_view::npos) {
            fault(open, "field " + name + " runs into the end of its record");
            return;
        }
        AdifRecord& target = inHeader ? document.header : current;
        if (reading == AdifReading::Strict && findField(target, name) != nullptr) {
            fault(open, "field " + name + " appears twice");
            return;
        }
        target.push_back({std::move(name), std::string(value)});
        position = at + length;
    }

    void endMarker(size_t at, const std::string& marker) {
        if (marker == "EOH") {
            // Some programs start the header with a field; what came before
            // the first <EOH> was that header.
            if (!inHeader && reading == AdifReading::Lenient && document.records.empty() &&
                !document.hasHeader) {
                document.header = std::move(current);
                document.hasHeader = true;
                current.clear();
                return;
            }
            if (!inHeader) {
                fault(at, "<EOH> after the header");
                return;
            }
            inHeader = false;
            return;
        }
        if (inHeader) {
            fault(at, "<EOR> inside the header");
            return;
        }
        if (!current.empty()) {
            document.records.push_back(std::move(current));
            current.clear();
        }
    }

    // A fault at `at`: strict reading ends; lenient reading drops the
    // record under way and resumes after the next end marker.
    void fault(size_t at, std::string message) {
        problem(inHeader ? at : std::min(at, current.empty() ? at : recordStart),
                std::move(message));
        if (reading == AdifReading::Strict) {
            stopped = true;
            return;
        }
        current.clear();
        const std::string_view marker = inHeader ? "<EOH>" : "<EOR>";
        const size_t next = findMarker(text, at + 1, marker);
        if (next == std::string_view::npos) {
            stopped = true;
            return;
        }
        inHeader = false;
        position = next + marker.size();
    }

    void problem(size_t at, std::string message) {
        const size_t line =
            1 + static_cast<size_t>(std::count(text.begin(), text.begin() + at, '\n'));
        document.problems.push_back({at, line, std::move(message)});
    }

    std::string_view text;
    AdifReading reading;
    AdifDocument document;
    AdifRecord current;
    size_t position = 0;
    size_t recordStart = 0;
    bool inHeader = false;
    bool stopped = false;
};

} // namespace

const std::string* findField(const AdifRecord& record, std::string_view upperName) {
    for (const AdifField& field : record) {
        if (field.name == upperName) {
            return &field.value;
        }
    }
    return nullptr;
}

AdifDocument readAdif(std::string_view text, AdifReading reading) {
    return Reader(text, reading).run();
}

} // namespace logbook
