#include "History.h"

#include <algorithm>

#include "Format.h"

namespace jorvsim {

void History::add(Millis at, std::string text) {
    if (!mEnabled || mCapacity == 0) return;
    mRecords.push_back(Record{mNextSeq++, at, std::move(text)});
    while (mRecords.size() > mCapacity) mRecords.pop_front();
}

DataList History::answers() const {
    DataList answers;
    for (const Record& record : mRecords) {
        JorvRequestData answer;
        // Record numbers stay far below 2^31 in any session; the cast only matters past that.
        answer.id = static_cast<int32_t>(record.seq & 0x7fffffff);
        std::string text = formatSeconds(record.at) + " " + record.text;
        std::replace(text.begin(), text.end(), ';', ',');
        answer.extra = std::move(text);
        answers.push_back(std::move(answer));
    }
    return answers;
}

}  // namespace jorvsim
