// qarctl end to end (real qarctl processes against a real reference service process), and its
// table of failure reasons.

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

#include "Reasons.h"
#include "support/SimProcess.h"
#include "support/StrictJson.h"
#include "support/sanitizers.h"

namespace {

using jorvsimtest::kLongTimeout;
using jorvsimtest::lineWith;
using jorvsimtest::SimProcess;
using std::chrono::milliseconds;

struct QarctlRun {
    int exitCode = -1;
    std::string out;
};

// Runs qarctl (or `program`) to its end with HOSTBINDER_DIR=`dir`.
QarctlRun qarctl(const std::string& dir, std::vector<std::string> args,
                 const char* program = QARCTL_PATH) {
    SimProcess process(program, std::move(args), dir);
    QarctlRun run;
    const std::optional<int> status = process.spawn() ? process.waitExit() : std::optional<int>();
    if (status.has_value() && WIFEXITED(*status)) {
        run.exitCode = WEXITSTATUS(*status);
        for (const std::string& line : process.lines()) run.out += line + "\n";
    }
    return run;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

struct Case {
    // `line`: the arguments, separated by spaces.
    Case(const std::string& line, int exit, std::string part)
        : exitCode(exit), expected(std::move(part)) {
        std::istringstream words(line);
        for (std::string word; words >> word;) args.push_back(word);
    }
    Case(std::vector<std::string> words, int exit, std::string part)
        : args(std::move(words)), exitCode(exit), expected(std::move(part)) {}

    std::vector<std::string> args;
    int exitCode;
    std::string expected;  // part of the output; a refusal (exit code 2) prints nothing
};

// Runs every case against the service in `dir`; their outputs, one after the other.
std::string runCases(const std::string& dir, const std::vector<Case>& cases) {
    std::string outputs;
    for (const Case& c : cases) {
        const QarctlRun run = qarctl(dir, c.args);
        std::string name;
        for (const std::string& arg : c.args) name += arg + " ";
        EXPECT_EQ(run.exitCode, c.exitCode) << name << "\n" << run.out;
        EXPECT_TRUE(contains(run.out, c.expected)) << name << "\n" << run.out;
        EXPECT_TRUE(c.exitCode != 2 || run.out.empty()) << name << " printed " << run.out;
        outputs += run.out;
    }
    return outputs;
}

// Every command family, the reasons of failed calls and the parsing of numbers, in JSON.
TEST(QarctlTest, EveryFamilyAgainstTheReferenceService) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    std::vector<Case> cases = {
            {"acquire TRIVEX_ACTION_LAUNCH --scene com.app", 0,
             R"({"call":"QarEventAcquireWrapper","result":1})"},
            {"acquire ACTION_LAUNCH", 1, R"({"event":"reason","reason":"unknown action name"})"},
            {"event-acquire 12 --oneway", 0, R"("call":"QarEventAcquireOneWay")"},
            {"res-acquire 0x40800000=5 --timeout 60000", 0, R"("call":"QarResAcquire")"},
            {"request 0x40800100=7", 0, R"("call":"jorvResCtlRequest")"},
            {"res-state 0x40800100", 0, R"("resources":[{"id":1082130688,"value":"7"}])"},
            {"multi-state 0x40800100", 0,
             R"("result":1,"resources":[{"id":1082130688,"value":"7"}])"},
            {"multi-state", 1, R"("reason":"resource list invalid")"},
            {"path-request /sys/x=3", 0, R"("call":"jorv_resctl_request_by_path")"},
            {"path-state /sys/x", 0, R"("values":["3"])"},
            {"path-state --map /sys/x", 0, R"("results":{"/sys/x":"3"})"},
            {"thermal-notify 3=2", 0, R"("call":"jorvThermalNotify","result":0)"},
            {"notify 9000 1 0 1,2", 0, R"("call":"QarNotifyWapper","result":0)"},
            {"rule 5 on 0x40=1", 0, R"("call":"qarRuleCtl")"},
            {"sys-info 1 screen-on", 0, R"("call":"setRelatedSysInfo")"},
            {"prop-set vendor.k v\xc3\xa9\x01\"", 0, R"("call":"jorvPropertySet","result":0)"},
            {"prop-get vendor.k", 0, "\"value\":\"v\xc3\xa9\\u0001\\\"\""},
            {"dump res-info", 0, R"("call":"jorvDumpResInfo","result":0)"},
            {"history-record on", 0, R"("call":"jorvHistoryRequestRecordOn","result":0)"},
            {"history", 0, R"("history":"start:)"},
            {"power", 0, R"({"call":"QarGetPowerConsis","result":1260})"},
            {"jorv-init", 0, "{\"call\":\"jorv_init\"}\n"},
            {"dataset", 0, R"("call":"Qar_fetch_dataset")"},
            {"release 1", 0, "{\"call\":\"QarReleaseWapper\"}\n"},
            {"release 1 --event-api", 0, "{\"call\":\"QarRelease\"}\n"},
            {"qar-state 0x40800100", 0, "{\"call\":\"QarResStateRequest\",\"value\":\"7\"}\n"},
            {"game-upgrade-clear 14 0", 0, "{\"call\":\"clrGameUpgradeMode\"}\n"},
            {"zdbdebug-mark /a", 0,
             "{\"call\":\"jorv_add_zdbdebug_for_request_parcel\",\"paths\":[\"zdbdebug\"]}\n"},
            {"res-release 999", 1,
             R"j({"event":"reason","reason":"the service refused the call (no cause logged)"})j"},
            {"unlisten 77", 1, R"("reason":"no such listening")"},
            {"request 0x40=1 --bogus", 2, ""},
            {"no-such-command", 2, ""},
            // Non-negative counts and bounded durations.
            {"listen 0x40 --count 4294967297", 2, ""},
            {"listen 0x40 --count -1", 2, ""},
            {"listen 0x40 --count -0", 2, ""},
            {"listen 0x40 --timeout-ms 9223372036854775807", 2, ""},
            {"listen 0x40 --timeout-ms 18446744073709551616", 2, ""},
            {"listen 0x40 --timeout-ms -1", 2, ""},
            // Ids: 32 bits, signed or as an unsigned bit pattern.
            {"res-state 0x100000000", 2, ""},
            {"res-state 4294967296", 2, ""},
            {"res-state 0xffffffff", 0, "jorvResStateRequest"},
    };
    // 32-bit signed --timeout: refused outside its range or in any other form.
    for (const char* bad : {"4294967296", "2147483648", "-2147483649", "0x80000000", "12ms", "010",
                            "08", "", "+5", " 5", "0x", "1e3", "0b11"}) {
        cases.push_back({{"res-acquire", "0x40=1", "--timeout", bad}, 2, ""});
    }
    for (const char* good : {"2147483647", "-2147483648", "0x7fffffff", "-0x10", "0"}) {
        cases.push_back({{"res-acquire", "0x40=1", "--timeout", good}, 0, "QarResAcquire"});
    }
    for (Case& c : cases) c.args.insert(c.args.begin(), "--json");
    const std::string outputs = runCases(sim.dir(), cases);
    // Every line is one strict JSON object, whatever the values hold.
    std::string error;
    EXPECT_TRUE(jorvsimtest::readStrictJson(outputs, &error).has_value()) << error;
}

// With no service at all: qarctl's own options, which may stand before or after the command and
// its arguments, and what it says when the instance is not declared.
TEST(QarctlTest, OptionsAndExplainNeedNoService) {
    const SimProcess unstarted;  // for a directory no service ever served in
    const std::string dir = unstarted.dir();
    const std::string json = R"({"call":"qarGetRandomHandle","result":)";
    const std::string text = "qarGetRandomHandle -> 0x";
    const std::string reason = "instance not declared";
    runCases(dir, {
                          {"--json random-handle", 0, json},
                          {"random-handle --json", 0, json},
                          {"--quiet random-handle --wait-ms 100 --json", 0, json},
                          {"random-handle --wait-ms=5 -q", 0, text},
                          {"--wait-ms 0 --explain random-handle", 0, text},
                          {"random-handle --wait-ms", 2, ""},
                          {"random-handle --wait-ms soon", 2, ""},
                          {"--bogus random-handle", 2, ""},
                          {"random-handle --bogus", 2, ""},
                          {"random-handle -- --json", 2, ""},
                          {"random-handle --help", 0, "usage: qarctl random-handle"},
                          {"--json --help random-handle", 0, "usage: qarctl [--json]"},
                          {"--explain request 0x40=1 --param1 2000", 0,
                           R"(request {type=1(resource) data=[{id=64 value="1"}])"},
                          {"--explain request 0x40=1", 0, "service: call "},
                          {"--explain request 0x40=1", 0, "jorvResCtlRequest -> 0x00000001\n"},
                          {"request 1=1", 1, "\nreason: " + reason + "\n"},
                          {"--json request 1=1", 1, R"({"event":"reason","reason":")" + reason},
                  });
}

// Whether `pid` runs more than one thread: by then qarctl has its signals blocked.
bool waitForThreads(pid_t pid) {
    return qartest::waitFor([pid] {
        int threads = 0;
        if (DIR* tasks = opendir(("/proc/" + std::to_string(pid) + "/task").c_str())) {
            while (const dirent* entry = readdir(tasks)) threads += entry->d_name[0] != '.';
            closedir(tasks);
        }
        return threads > 1;
    });
}

// The listener's own line for a registration the service accepted.
bool registeredHere(const std::string& line) {
    return contains(line, R"("call":"jorvResListeningRegister","result":)") &&
           !contains(line, R"("result":-)");
}

void expectExit(SimProcess& process, int exitCode, milliseconds timeout = kLongTimeout) {
    const std::optional<int> status = process.waitExit(timeout);
    ASSERT_TRUE(status.has_value()) << "still running";
    EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == exitCode) << *status;
}

// An interrupted listener ends its listening; a signal or the wait bound ends a wait for a
// service that is declared but gone (jorv-sim started and killed).
TEST(QarctlTest, SignalsAndTheWaitBoundEndWaits) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    SimProcess listener(QARCTL_PATH, {"--json", "listen", "0x40800000"}, sim.dir());
    ASSERT_TRUE(listener.spawn());
    ASSERT_TRUE(listener.waitForLine(registeredHere));
    listener.signal(SIGINT);
    expectExit(listener, 130);
    EXPECT_TRUE(sim.waitForLine(lineWith("call ", "listeningUnregister")));

    sim.signal(SIGKILL);
    ASSERT_TRUE(sim.waitExit().has_value());
    for (const auto& [sig, exitCode] : {std::pair{SIGTERM, 143}, std::pair{SIGINT, 130}}) {
        SimProcess client(QARCTL_PATH, {"--wait-ms", "0", "request", "1=1"}, sim.dir());
        ASSERT_TRUE(client.spawn());
        ASSERT_TRUE(waitForThreads(client.pid()));
        client.signal(sig);
        // Within a second (times the sanitizer slowdown).
        expectExit(client, exitCode, milliseconds(1000 * qartest::kSanitizerSlowdown));
    }
    const std::string reason = "service declared but not running";
    runCases(sim.dir(), {{"--wait-ms 200 request 1=1", 1, "reason: " + reason + "\n"},
                         {"--json --wait-ms 200 request 1=1", 1,
                          R"({"event":"reason","reason":")" + reason + "\"}"}});
}

// A listener hears another process's request; with --follow it registers again when the service
// is back, without it the service's death ends it.
TEST(QarctlTest, FollowingListenerRegistersAgainWhenTheServiceIsBack) {
    SimProcess first;
    ASSERT_TRUE(first.start());
    const std::string dir = first.dir();
    SimProcess listener(QARCTL_PATH, {"--json", "listen", "0x40800000", "--follow", "--count", "1"},
                        dir);
    SimProcess once(QARCTL_PATH, {"--json", "listen", "0x40800000"}, dir);
    ASSERT_TRUE(listener.spawn() && once.spawn());
    ASSERT_TRUE(listener.waitForLine(registeredHere) && once.waitForLine(registeredHere));
    first.signal(SIGKILL);
    ASSERT_TRUE(first.waitExit().has_value());
    expectExit(once, 1);
    EXPECT_TRUE(once.waitForLine(lineWith("", R"({"event":"died")")));
    ASSERT_TRUE(listener.waitForLine(lineWith("", R"("event":"died")")));
    SimProcess second(dir, {});
    ASSERT_TRUE(second.start());
    ASSERT_TRUE(listener.waitForLine(registeredHere, 1));
    EXPECT_EQ(qarctl(dir, {"request", "0x40800000=9"}).exitCode, 0);
    expectExit(listener, 0);
    EXPECT_TRUE(listener.waitForLine(
            lineWith(R"({"event":"callback","resources":[{"id":1082130432,"value":"9"}]})")));
}

TEST(QarctlTest, ShellRefusesALineWithNulAndGoesOn) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    // Cut at its NUL, the first line would be a valid call.
    const std::string script = "printf 'prop-set a b\\000 junk\\nprop-set a b\\n' | ";
    const QarctlRun run =
            qarctl(sim.dir(), {"-c", script + QARCTL_PATH + " --quiet shell"}, "/bin/sh");
    EXPECT_TRUE(contains(run.out, "done status=0\n")) << run.out;
    EXPECT_LT(run.out.find("done status=2\n"), run.out.find("done status=0\n")) << run.out;
}

// The table that turns the library's log lines into the reason a failed call gives.
TEST(QarctlReasonsTest, EveryLogLineOfAFailureHasItsReason) {
    struct Case {
        std::vector<std::string> lines;
        std::string reason;
    };
    const std::vector<Case> cases = {
            {{"Jorv is not declared, AServiceManager_isDeclared:0"}, "instance not declared"},
            // A lost race to connect, not a failure.
            {{"Jorv is not declared, AServiceManager_isDeclared:1"}, ""},
            {{"Jorv HAL Service not found"}, "service not found"},
            {{"Unable to link to g_jorv_hal death notifications!"},
             "service died while connecting"},
            {{"jorvPropertySet() failed: jorv HAL service not available"},
             "service failed the call: jorvPropertySet()"},
            {{"QarEventAcquire() failed : jorv HAL service not available"},
             "service failed the call: QarEventAcquire()"},
            {{"jorvResCtlRequest() failed: jorv HAL service not available",
              "Jorv HAL Service died"},
             "service died during the call"},
            {{"jorvThermalNotify ERROR: size unmatched for id and level "},
             "resource list invalid"},
            {{"input resource is empty, return"}, "resource list invalid"},
            {{"The callback was not registered before"}, "no such listening"},
            {{"failed to get resource value, 0"}, "service answer incomplete"},
            {{"jorvResCtlRequest error:-1"}, "service refused the request"},
            {{"[QarEventAcquireWrapper] eventId:ACTION_LAUNCH, scene:none"}, "unknown action name"},
            {{"[QarEventAcquireWrapper] eventId:TRIVEX_ACTION_LAUNCH, scene:none",
              "QarEventAcquire, cmdid:1, pkg:none, identity:none"},
             ""},
            {{"jorv client jorvResCtlRequest"}, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(qarctl::reasonOfLines(c.lines), c.reason) << c.lines[0];
    }
}

}  // namespace
