// Readable one-line renderings of parcels, records and statuses for the transcript, the log and
// the history. Every rendering stays on one line whatever the texts hold.
#pragma once

#include <android/binder_auto_utils.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Escape.h"
#include "ModelTypes.h"

namespace jorvsim {

// A short name for a request type ("resource", "event", ...), or "unknown".
const char* requestTypeName(int32_t type);
using toolscommon::jsonString;
using toolscommon::quotedText;
// Decimal when small (command codes, counts), 0x%08x otherwise (resource opcodes).
std::string formatId(int32_t id);
// {id=... int=... value="..." path="..." extra="..."}: int only when not 0, texts only when
// present (so an absent value and an empty one look different).
std::string formatRecord(const JorvRequestData& record);
std::string formatRecords(const DataList& records);
// {type=N(name) data=[...] flag=... param0=... param1=... param3=... param5=...} followed by
// paths, callback, text1, text2 and numbers when present.
std::string formatParcel(const JorvRequestParcel& parcel);
std::string formatInts(const std::vector<int32_t>& values);
// "ok", "exception EX_NAME(-3) \"message\"", "service-specific 7 \"message\"" or
// "transport STATUS_NAME(-32)".
std::string formatStatus(const ::ndk::ScopedAStatus& status);
// The exception's name as the binder runtime spells it ("EX_SECURITY", ...).
std::string exceptionName(binder_exception_t exception);
const char* transportStatusName(binder_status_t status);
// Seconds with millisecond precision: "1.250".
std::string formatSeconds(std::chrono::nanoseconds duration);

}  // namespace jorvsim
