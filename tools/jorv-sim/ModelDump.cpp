// The tables the diagnostic dump commands print to the service log.
#include <map>
#include <set>

#include "Format.h"
#include "Model.h"

namespace jorvsim {
namespace {

std::string keysText(const std::vector<ResourceKey>& keys) {
    std::string text = "[";
    for (size_t i = 0; i < keys.size(); ++i) {
        if (i > 0) text += ' ';
        text += keys[i].toString();
    }
    return text + "]";
}

std::string handlesText(const std::vector<int32_t>& handles) {
    std::string text = "[";
    for (size_t i = 0; i < handles.size(); ++i) {
        if (i > 0) text += ' ';
        text += std::to_string(handles[i]);
    }
    return text + "]";
}

std::string requestLine(const ActiveRequest& r, TimePoint now) {
    std::string line = "  handle " + std::to_string(r.handle) + " " + requestTypeName(r.type) +
                       " pid=" + std::to_string(r.pid);
    if (r.command.has_value()) line += " cmd=" + formatId(*r.command);
    if (r.package.has_value()) line += " pkg=" + quotedText(*r.package);
    if (r.identity.has_value()) line += " identity=" + quotedText(*r.identity);
    line += " age=" + formatSeconds(now - r.start) + "s";
    line += r.expiry.has_value() ? " left=" + formatSeconds(*r.expiry - now) + "s"
                                 : std::string(" until-released");
    if (r.oneway) line += " oneway";
    line += " resources=" + formatRecords(r.resources);
    return line;
}

}  // namespace

std::vector<std::string> Model::dumpLocked(int32_t code) const {
    switch (code) {
        case DiagnosticCode::kToDoQueue:
            return dumpToDoQueueLocked();
        case DiagnosticCode::kRunMap:
            return dumpRunMapLocked();
        case DiagnosticCode::kActiveResources:
            return dumpActiveLocked();
        case DiagnosticCode::kResourceRequests:
            return dumpSettingsLocked();
        case DiagnosticCode::kResourceInfo:
            return dumpResourceInfoLocked();
        case DiagnosticCode::kSceneActions:
            return dumpSceneActionsLocked();
        case DiagnosticCode::kPidList:
            return dumpPidsLocked(true);
        case DiagnosticCode::kPidMonitorMap:
            return dumpPidsLocked(false);
        case DiagnosticCode::kRecordList:
            return dumpRecordsLocked();
        default:
            return {};
    }
}

std::vector<std::string> Model::dumpToDoQueueLocked() const {
    std::vector<std::string> lines;
    const TimePoint now = mClock.now();
    const auto pending = mRequests.expiries().pending();
    lines.push_back("to-do queue: " + std::to_string(pending.size()) + " expiries, soonest first");
    for (const auto& [at, handle] : pending) {
        lines.push_back("  handle " + std::to_string(handle) + " in " + formatSeconds(at - now) +
                        "s");
    }
    return lines;
}

std::vector<std::string> Model::dumpRunMapLocked() const {
    std::vector<std::string> lines;
    const TimePoint now = mClock.now();
    lines.push_back("run map: " + std::to_string(mRequests.all().size()) + " active requests");
    for (const auto& [handle, request] : mRequests.all()) {
        lines.push_back(requestLine(request, now));
    }
    return lines;
}

std::vector<std::string> Model::dumpActiveLocked() const {
    std::vector<std::string> lines;
    const auto entries = mValues.effective();
    lines.push_back("active resources: " + std::to_string(entries.size()));
    for (const auto& entry : entries) {
        lines.push_back("  " + entry.key.toString() + " = " + quotedText(entry.value) + " (" +
                        entry.owner.toString() + ")");
    }
    return lines;
}

std::vector<std::string> Model::dumpSettingsLocked() const {
    std::vector<std::string> lines;
    const auto settings = mValues.settings();
    lines.push_back("resource requests: " + std::to_string(settings.size()) +
                    " resources, newest setting first");
    for (const auto& [key, list] : settings) {
        std::string line = "  " + key.toString() + ":";
        for (const auto& setting : list) {
            line += " " + setting.owner.toString() + "=" + quotedText(setting.value);
        }
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> Model::dumpResourceInfoLocked() const {
    std::vector<std::string> lines;
    lines.push_back("resource info: " + std::to_string(mListenings.all().size()) + " listenings, " +
                    std::to_string(mThermal.listenings().size()) + " thermal registrations");
    for (const auto& [handle, l] : mListenings.all()) {
        lines.push_back("  listening " + std::to_string(handle) + " pid=" + std::to_string(l.pid) +
                        " " + keysText(l.keys));
    }
    for (const auto& [handle, l] : mThermal.listenings()) {
        lines.push_back("  thermal " + std::to_string(handle) + " pid=" + std::to_string(l.pid) +
                        " ids=" + formatInts(l.ids));
    }
    for (const auto& [id, level] : mThermal.levels()) {
        lines.push_back("  thermal level " + formatId(id) + " = " + quotedText(level));
    }
    for (const auto& [id, rule] : mRules.all()) {
        lines.push_back("  rule " + std::to_string(id) + (rule.on() ? " on" : " off") + " status=" +
                        std::to_string(rule.status) + " data=" + formatRecords(rule.data));
    }
    for (const auto& [name, value] : mProperties.all()) {
        lines.push_back("  property " + quotedText(name) + " = " + quotedText(value));
    }
    for (const auto& [a, info] : mRelatedSysInfo) {
        lines.push_back("  related-sys-info " + std::to_string(a) + " = " + quotedText(info));
    }
    return lines;
}

std::vector<std::string> Model::dumpSceneActionsLocked() const {
    std::vector<std::string> lines;
    const TimePoint now = mClock.now();
    std::vector<std::string> rows;
    for (const auto& [handle, request] : mRequests.all()) {
        if (request.command.has_value()) rows.push_back(requestLine(request, now));
    }
    lines.push_back("scene actions and events: " + std::to_string(rows.size()));
    lines.insert(lines.end(), rows.begin(), rows.end());
    return lines;
}

std::vector<std::string> Model::dumpPidsLocked(bool counts) const {
    std::vector<std::string> lines;
    std::map<pid_t, std::vector<int32_t>> requests;
    std::map<pid_t, std::vector<int32_t>> registrations;
    for (const auto& [handle, r] : mRequests.all()) requests[r.pid].push_back(handle);
    for (const auto& [handle, l] : mListenings.all()) {
        registrations[l.pid].push_back(handle);
    }
    for (const auto& [handle, l] : mThermal.listenings()) {
        registrations[l.pid].push_back(handle);
    }
    std::set<pid_t> pids;
    for (const auto& [pid, handles] : requests) pids.insert(pid);
    for (const auto& [pid, handles] : registrations) pids.insert(pid);
    lines.push_back(std::string(counts ? "pid list: " : "pid monitor map: ") +
                    std::to_string(pids.size()) + " callers");
    for (const pid_t pid : pids) {
        const auto& r = requests[pid];
        const auto& g = registrations[pid];
        lines.push_back(
                "  pid " + std::to_string(pid) + ": " +
                (counts ? std::to_string(r.size()) + " requests, " + std::to_string(g.size()) +
                                  " registrations"
                        : "requests " + handlesText(r) + " registrations " + handlesText(g)));
    }
    return lines;
}

std::vector<std::string> Model::dumpRecordsLocked() const {
    std::vector<std::string> lines;
    lines.push_back(std::string("record list: history ") + (mHistory.enabled() ? "on" : "off") +
                    ", " + std::to_string(mHistory.records().size()) + " records");
    for (const auto& record : mHistory.records()) {
        lines.push_back("  #" + std::to_string(record.seq) + " " + formatSeconds(record.at) + "s " +
                        record.text);
    }
    return lines;
}

}  // namespace jorvsim
