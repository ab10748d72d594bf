#include "Options.h"

#include <android/binder_status.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>

#include "Format.h"

namespace jorvsim {
namespace {

constexpr binder_exception_t kExceptions[] = {
        EX_SECURITY,      EX_BAD_PARCELABLE,      EX_ILLEGAL_ARGUMENT,      EX_NULL_POINTER,
        EX_ILLEGAL_STATE, EX_NETWORK_MAIN_THREAD, EX_UNSUPPORTED_OPERATION, EX_PARCELABLE,
};
constexpr binder_status_t kTransportStatuses[] = {
        STATUS_UNKNOWN_ERROR,      STATUS_NO_MEMORY,
        STATUS_INVALID_OPERATION,  STATUS_BAD_VALUE,
        STATUS_BAD_TYPE,           STATUS_NAME_NOT_FOUND,
        STATUS_PERMISSION_DENIED,  STATUS_NO_INIT,
        STATUS_ALREADY_EXISTS,     STATUS_DEAD_OBJECT,
        STATUS_FAILED_TRANSACTION, STATUS_BAD_INDEX,
        STATUS_NOT_ENOUGH_DATA,    STATUS_WOULD_BLOCK,
        STATUS_TIMED_OUT,          STATUS_UNKNOWN_TRANSACTION,
        STATUS_FDS_NOT_ALLOWED,    STATUS_UNEXPECTED_NULL,
};

std::optional<long long> parseInteger(const std::string& text, long long min, long long max) {
    if (text.empty()) return std::nullopt;
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 0);
    if (errno != 0 || end == nullptr || *end != '\0' || value < min || value > max) {
        return std::nullopt;
    }
    return value;
}

std::optional<uint32_t> parseCount(const std::string& text) {
    if (auto value = parseInteger(text, 0, std::numeric_limits<uint32_t>::max())) {
        return static_cast<uint32_t>(*value);
    }
    return std::nullopt;
}

// A failure code: a number, or the name of an exception or transport status of its kind.
std::optional<int32_t> parseCode(FailKind kind, const std::string& text) {
    if (kind == FailKind::kException) {
        for (const binder_exception_t code : kExceptions) {
            if (text == exceptionName(code)) return code;
        }
    } else if (kind == FailKind::kTransport) {
        for (const binder_status_t code : kTransportStatuses) {
            if (text == transportStatusName(code)) return code;
        }
    }
    auto value = parseInteger(text, std::numeric_limits<int32_t>::min(),
                              std::numeric_limits<int32_t>::max());
    // 0 would make the "failure" a success.
    if (!value.has_value() || *value == 0) return std::nullopt;
    return static_cast<int32_t>(*value);
}

std::string parseFailWith(const std::string& text, FaultOptions* faults) {
    const size_t colon = text.find(':');
    const std::string kind = text.substr(0, colon);
    if (kind == "exception") {
        faults->failKind = FailKind::kException;
    } else if (kind == "service-specific") {
        faults->failKind = FailKind::kServiceSpecific;
    } else if (kind == "transport") {
        faults->failKind = FailKind::kTransport;
    } else {
        return "--fail-with: unknown kind '" + kind +
               "' (exception, service-specific or transport)";
    }
    faults->failCode.reset();
    if (colon != std::string::npos) {
        std::optional<int32_t> code = parseCode(faults->failKind, text.substr(colon + 1));
        if (!code.has_value()) return "--fail-with: bad code '" + text.substr(colon + 1) + "'";
        faults->failCode = code;
    }
    return {};
}

std::string parseFailOps(const std::string& text, FaultOptions* faults) {
    size_t begin = 0;
    for (;;) {
        const size_t comma = text.find(',', begin);
        const std::string op = text.substr(begin, comma - begin);
        const auto& known = operationNames();
        if (std::find(known.begin(), known.end(), op) == known.end()) {
            return "--fail-op: unknown operation '" + op + "'";
        }
        faults->failOps.insert(op);
        if (comma == std::string::npos) return {};
        begin = comma + 1;
    }
}

}  // namespace

const std::vector<std::string>& operationNames() {
    static const std::vector<std::string> kNames = {
            "init",
            "request",
            "release",
            "stateRequest",
            "listeningRegister",
            "listeningUnregister",
            "propertyGet",
            "propertySet",
            "thermalListeningRegister",
            "thermalListeningUnregister",
            "reserved10",
            "setRelatedSysInfo",
            "ruleCtl",
            "requestOneWay",
    };
    return kNames;
}

namespace {

// The value of the option being parsed: after '=' or the next argument.
class OptionValue {
public:
    OptionValue(const std::vector<std::string>& args, size_t* i,
                std::optional<std::string> inlineValue)
        : mArgs(args), mIndex(i), mInline(std::move(inlineValue)) {}
    bool take(std::string* out) {
        if (mInline.has_value()) {
            *out = *mInline;
            return true;
        }
        if (*mIndex + 1 >= mArgs.size()) return false;
        *out = mArgs[++*mIndex];
        return true;
    }
    bool given() const { return mInline.has_value(); }

private:
    const std::vector<std::string>& mArgs;
    size_t* mIndex;
    const std::optional<std::string> mInline;
};

std::string applyProperty(OptionValue& value, Options& o) {
    std::string text;
    const size_t eq = value.take(&text) ? text.find('=') : std::string::npos;
    if (eq == std::string::npos || eq == 0 || text.size() - eq - 1 > Properties::kMaxValueLength) {
        return "--property needs NAME=VALUE (value up to " +
               std::to_string(Properties::kMaxValueLength) + " characters)";
    }
    o.model.properties[text.substr(0, eq)] = text.substr(eq + 1);
    return "";
}

// The options that take a count; null for any other flag.
uint32_t* countOption(const std::string& flag, Options& o) {
    if (flag == "--fail-next") return &o.faults.failNext;
    if (flag == "--delay-ms") return &o.faults.delayMs;
    if (flag == "--exit-after") return &o.faults.exitAfter;
    return nullptr;
}

// Applies an option that takes a value; the error, or empty. False in `known` for an unknown
// flag.
std::string applyValued(const std::string& flag, OptionValue& value, Options& o, bool* known) {
    std::string text;
    if (flag == "--dir")
        return value.take(&o.dir) && !o.dir.empty() ? "" : "--dir needs a directory";
    if (flag == "--trace")
        return value.take(&o.trace) && !o.trace.empty() ? "" : "--trace needs a file";
    if (flag == "--property") return applyProperty(value, o);
    if (flag == "--fail-with") {
        return value.take(&text) ? parseFailWith(text, &o.faults) : "--fail-with needs KIND[:CODE]";
    }
    if (flag == "--fail-op") {
        return value.take(&text) ? parseFailOps(text, &o.faults) : "--fail-op needs OP[,OP...]";
    }
    uint32_t* target = countOption(flag, o);
    if (target == nullptr && flag != "--history-size") {
        *known = false;
        return "";
    }
    const std::optional<uint32_t> count = value.take(&text) ? parseCount(text) : std::nullopt;
    if (!count.has_value()) {
        return flag + " needs a number from 0 to " +
               std::to_string(std::numeric_limits<uint32_t>::max());
    }
    if (target != nullptr) {
        *target = *count;
    } else {
        o.model.historyCapacity = *count;
    }
    return "";
}

// Applies a flag without a value; false when `flag` is none of them.
bool applySwitch(const std::string& flag, Options& o) {
    if (flag == "--no-declare") {
        o.declare = false;
    } else if (flag == "--history-off") {
        o.model.historyEnabled = false;
    } else if (flag == "--omit-values") {
        o.faults.omitValues = true;
    } else if (flag == "--die-with-parent") {
        o.dieWithParent = true;
    } else {
        return false;
    }
    return true;
}

}  // namespace

ParsedOptions parseOptions(const std::vector<std::string>& args) {
    ParsedOptions parsed;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string flag = args[i];
        std::optional<std::string> inlineValue;
        if (const size_t eq = flag.find('='); flag.rfind("--", 0) == 0 && eq != std::string::npos) {
            inlineValue = flag.substr(eq + 1);
            flag.resize(eq);
        }
        // Help wins whatever follows it, even a value.
        if (flag == "-h" || flag == "--help") {
            parsed.options.help = true;
            continue;
        }
        OptionValue value(args, &i, std::move(inlineValue));
        if (!value.given() && applySwitch(flag, parsed.options)) continue;
        bool known = true;
        const std::string error = applyValued(flag, value, parsed.options, &known);
        if (!known) parsed.error = "unknown argument '" + args[i] + "'";
        if (!error.empty()) parsed.error = error;
        if (!parsed.error.empty()) return parsed;
    }
    return parsed;
}

std::string usage() {
    return R"(usage: jorv-sim [options]

Reference IJorv service for the host. Publishes vendor.vemra.hardware.jorv.IJorv/default in the
service directory and prints one line per transaction on standard output (see README.md).

  --dir DIR              service directory (default: $HOSTBINDER_DIR, else /tmp/hostbinder-<uid>)
  --no-declare           do not add the instance to DIR/manifest
  --trace FILE           at stop, write a timeline of the run to FILE (Trace Event JSON)
  --property NAME=VALUE  start with this property set (repeatable)
  --history-size N       history records kept (default 256)
  --history-off          start with history recording off
  --fail-next N          fail the next N calls (those matching --fail-op)
  --fail-with KIND[:CODE]
                         how they fail: exception (default EX_ILLEGAL_STATE), service-specific
                         (default 1) or transport (default STATUS_FAILED_TRANSACTION; the default
                         kind); CODE is a number or a name such as EX_ILLEGAL_ARGUMENT
  --fail-op OP[,OP...]   only these operations count for --fail-next (repeatable)
  --delay-ms MS          hold every reply MS milliseconds
  --exit-after N         serve N calls, then exit with status 0; later calls see the service dead
  --omit-values          answers and callbacks carry no values
  --die-with-parent      stop (as on SIGTERM) when the parent process dies
  -h, --help             this text

SIGTERM or SIGINT stops the service cleanly (exit status 0).
)";
}

}  // namespace jorvsim
