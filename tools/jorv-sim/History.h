// The request history: what callers asked of the service, while recording is on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "Clock.h"
#include "ModelTypes.h"

namespace jorvsim {

class History {
public:
    struct Record {
        uint64_t seq = 0;
        Millis at{0};  // since the service started
        std::string text;
    };

    // Keeps the newest `capacity` records; 0 keeps none.
    History(size_t capacity, bool enabled) : mCapacity(capacity), mEnabled(enabled) {}

    bool enabled() const { return mEnabled; }
    void setEnabled(bool enabled) { mEnabled = enabled; }
    // Records `text` when recording is on.
    void add(Millis at, std::string text);

    // The records as a history answer, oldest first: id = the record's number, extra =
    // "<seconds> <text>". Clients join the texts with ';', so a ';' inside becomes ','.
    DataList answers() const;
    const std::deque<Record>& records() const { return mRecords; }

private:
    size_t mCapacity;
    bool mEnabled;
    uint64_t mNextSeq = 1;
    std::deque<Record> mRecords;
};

}  // namespace jorvsim
