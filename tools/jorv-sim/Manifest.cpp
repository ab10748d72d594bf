#include "Manifest.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "UniqueFd.h"

namespace jorvsim {
namespace {

std::string trim(const std::string& text) {
    const char* blanks = " \t\r\n\f\v";
    const size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

bool readAll(int fd, std::string* text) {
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) return true;
        text->append(buffer, static_cast<size_t>(n));
    }
}

bool writeAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

bool makeDirectories(const std::string& dir, std::string* error) {
    for (size_t slash = dir.find('/', 1);; slash = dir.find('/', slash + 1)) {
        const std::string part = dir.substr(0, slash);
        if (!part.empty() && mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            *error = "cannot create " + part + ": " + std::strerror(errno);
            return false;
        }
        if (slash == std::string::npos) break;
    }
    struct stat st;
    if (stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        *error = dir + " is not a directory";
        return false;
    }
    return true;
}

bool declareInManifest(const std::string& dir, const std::string& instance, std::string* error) {
    const std::string path = dir + "/manifest";
    // Append mode keeps lines that other tools add meanwhile; the read below sees the whole file.
    UniqueFd fd(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    if (!fd.ok()) {
        *error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    std::string text;
    if (!readAll(fd.get(), &text)) {
        *error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    size_t begin = 0;
    while (begin < text.size()) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        if (trim(text.substr(begin, end - begin)) == instance) return true;
        begin = end + 1;
    }
    std::string line = instance + "\n";
    if (!text.empty() && text.back() != '\n') line.insert(line.begin(), '\n');
    if (!writeAll(fd.get(), line)) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace jorvsim
