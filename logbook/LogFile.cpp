#include "logbook/LogFile.h"
#include "logbook/AdifQso.h"

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace logbook {

namespace {

int64_t nowSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string systemError(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// Whether the last non-blank text of an open file is an end marker (or the
// file is empty). Reads at most the last 64 bytes.
bool endsCleanly(int fd, off_t size) {
    if (size == 0) {
        return true;
    }
    char tail[64];
    const off_t from = size > static_cast<off_t>(sizeof tail) ? size - sizeof tail : 0;
    const ssize_t n = ::pread(fd, tail, static_cast<size_t>(size - from), from);
    if (n <= 0) {
        return false;
    }
    std::string text(tail, static_cast<size_t>(n));
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.pop_back();
    }
    if (text.empty()) {
        return from == 0;
    }
    if (text.size() < 5) {
        return false;
    }
    std::string last = text.substr(text.size() - 5);
    for (char& c : last) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return last == "<EOR>" || last == "<EOH>";
}

void syncDirectory(const std::filesystem::path& directory) {
    const int fd = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

} // namespace

std::string_view programVersion() {
    return "0.1.0";
}

std::filesystem::path defaultLogPath() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    std::filesystem::path base;
    if (xdg != nullptr && xdg[0] == '/') {
        base = xdg;
    } else {
        const char* home = std::getenv("HOME");
        base = std::filesystem::path(home != nullptr ? home : ".") / ".local" / "share";
    }
    return base / "tarn-psk31" / "log.adi";
}

bool LogFile::read(LogContents& contents, std::string& error) const {
    contents = LogContents{};
    std::ifstream in(filePath, std::ios::binary);
    if (!in) {
        if (errno == ENOENT || !std::filesystem::exists(filePath)) {
            return true;
        }
        error = systemError(filePath.string());
        return false;
    }
    contents.exists = true;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    const std::string text = buffer.str();
    const AdifDocument document = readAdif(text, AdifReading::Lenient);
    for (const AdifProblem& problem : document.problems) {
        contents.problems.push_back("line " + std::to_string(problem.line) + " (byte " +
                                    std::to_string(problem.offset) + "): " + problem.message);
    }
    contents.contacts.reserve(document.records.size());
    for (size_t i = 0; i < document.records.size(); ++i) {
        std::string why;
        if (std::optional<Qso> qso = qsoFromRecord(document.records[i], &why)) {
            contents.contacts.push_back(std::move(*qso));
        } else {
            contents.problems.push_back("record " + std::to_string(i + 1) +
                                        " is not a contact: " + why);
        }
    }
    return true;
}

bool LogFile::append(const std::vector<Qso>& contacts, std::string& error) const {
    std::error_code ignored;
    if (filePath.has_parent_path()) {
        std::filesystem::create_directories(filePath.parent_path(), ignored);
    }
    const bool existed = std::filesystem::exists(filePath, ignored);
    const int fd = ::open(filePath.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = systemError(filePath.string());
        return false;
    }
    bool ok = ::flock(fd, LOCK_EX) == 0;
    struct stat status {};
    ok = ok && ::fstat(fd, &status) == 0;
    if (!ok) {
        error = systemError(filePath.string());
        ::close(fd);
        return false;
    }
    std::string text;
    if (status.st_size == 0) {
        text = adifHeader(programVersion(), nowSeconds());
    } else if (!endsCleanly(fd, status.st_size)) {
        // Closes off a damaged last record. A field cut short swallows the
        // start of what follows: fewer than five bytes and the first marker
        // still ends the record; more and its data holds a whole marker,
        // which readers take as damage and resume after it.
        text = "<EOR><EOR>\n";
    }
    for (const Qso& qso : contacts) {
        text += adifRecordText(toAdifRecord(qso));
    }
    if (!writeAll(fd, text) || ::fsync(fd) != 0) {
        error = systemError(filePath.string());
        ::close(fd);
        return false;
    }
    if (::close(fd) != 0) {
        error = systemError(filePath.string());
        return false;
    }
    if (!existed) {
        syncDirectory(filePath.parent_path());
    }
    return true;
}

bool writeAdifFile(const std::filesystem::path& path, const std::vector<Qso>& contacts,
                   std::string& error) {
    std::string text = adifHeader(programVersion(), nowSeconds());
    for (const Qso& qso : contacts) {
        text += adifRecordText(toAdifRecord(qso));
    }
    std::filesystem::path temporary = path;
    temporary += ".partial";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = systemError(path.string());
        return false;
    }
    if (!writeAll(fd, text) || ::fsync(fd) != 0) {
        error = systemError(path.string());
        ::close(fd);
        ::unlink(temporary.c_str());
        return false;
    }
    ::close(fd);
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        error = systemError(path.string());
        ::unlink(temporary.c_str());
        return false;
    }
    syncDirectory(path.parent_path());
    return true;
}

} // namespace logbook
