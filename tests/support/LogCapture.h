#pragma once

#include <android/log.h>

#include <string>
#include <vector>

namespace qartest {

struct LogLine {
    int priority;
    std::string tag;  // "" when the line was logged without a tag
    std::string text;

    bool operator==(const LogLine& other) const {
        return priority == other.priority && tag == other.tag && text == other.text;
    }
};

// Captures every line sent to liblog while alive (all priorities, DEBUG included) and restores the
// stderr logger afterwards. One instance at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // Lines whose tag is `tag`, in order.
    std::vector<LogLine> linesWithTag(const std::string& tag) const;
    // How many captured lines equal (priority, tag, text).
    size_t count(int priority, const std::string& tag, const std::string& text) const;
    void clear();
};

}  // namespace qartest
