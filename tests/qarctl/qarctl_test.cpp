// qarctl end to end: real qarctl processes against a real reference service process.

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/SimProcess.h"
#include "support/StrictJson.h"
#include "support/sanitizers.h"

namespace {

using jorvsimtest::kLongTimeout;
using jorvsimtest::SimProcess;
using std::chrono::milliseconds;

struct QarctlRun {
    int exitCode = -1;
    std::string out;
};

// Runs qarctl to its end with HOSTBINDER_DIR=`dir`.
QarctlRun qarctl(const std::string& dir, std::vector<std::string> args) {
    SimProcess process(QARCTL_PATH, std::move(args), dir);
    QarctlRun run;
    if (!process.spawn()) return run;
    int status = 0;
    std::optional<std::string> out = process.output(&status);
    if (out.has_value() && WIFEXITED(status)) {
        run.exitCode = WEXITSTATUS(status);
        run.out = *out;
    }
    return run;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(QarctlTest, EveryFamilyAgainstTheReferenceService) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    struct Case {
        std::vector<std::string> args;
        int exitCode;
        std::string expected;  // part of the JSON output
    };
    const std::vector<Case> cases = {
            {{"acquire", "TRIVEX_ACTION_LAUNCH", "--scene", "com.app"},
             0,
             R"({"call":"QarEventAcquireWrapper","result":1})"},
            {{"acquire", "ACTION_LAUNCH"}, 1, R"("result":-1)"},
            {{"event-acquire", "12", "--oneway"}, 0, R"("call":"QarEventAcquireOneWay")"},
            {{"res-acquire", "0x40800000=5", "--timeout", "60000"}, 0, R"("call":"QarResAcquire")"},
            {{"request", "0x40800100=7"}, 0, R"("call":"jorvResCtlRequest")"},
            {{"res-state", "0x40800100"}, 0, R"("resources":[{"id":1082130688,"value":"7"}])"},
            {{"multi-state", "0x40800100"},
             0,
             R"("result":1,"resources":[{"id":1082130688,"value":"7"}])"},
            {{"path-request", "/sys/x=3"}, 0, R"("call":"jorv_resctl_request_by_path")"},
            {{"path-state", "/sys/x"}, 0, R"("values":["3"])"},
            {{"path-state", "--map", "/sys/x"}, 0, R"("results":{"/sys/x":"3"})"},
            {{"thermal-notify", "3=2"}, 0, R"("call":"jorvThermalNotify","result":0)"},
            {{"notify", "9000", "1", "0", "1,2"}, 0, R"("call":"QarNotifyWapper","result":0)"},
            {{"rule", "5", "on", "0x40=1"}, 0, R"("call":"qarRuleCtl")"},
            {{"sys-info", "1", "screen-on"}, 0, R"("call":"setRelatedSysInfo")"},
            {{"prop-set", "vendor.k", "v\xc3\xa9\x01\""},
             0,
             R"("call":"jorvPropertySet","result":0)"},
            {{"prop-get", "vendor.k"}, 0, "\"value\":\"v\xc3\xa9\\u0001\\\"\""},
            {{"dump", "res-info"}, 0, R"("call":"jorvDumpResInfo","result":0)"},
            {{"history-record", "on"}, 0, R"("call":"jorvHistoryRequestRecordOn","result":0)"},
            {{"history"}, 0, R"("history":"start:)"},
            {{"power"}, 0, R"({"call":"QarGetPowerConsis","result":1260})"},
            {{"jorv-init"}, 0, "{\"call\":\"jorv_init\"}\n"},
            {{"dataset"}, 0, R"("call":"Qar_fetch_dataset")"},
            {{"release", "1"}, 0, "{\"call\":\"QarReleaseWapper\"}\n"},
            {{"release", "1", "--event-api"}, 0, "{\"call\":\"QarRelease\"}\n"},
            {{"qar-state", "0x40800100"}, 0, "{\"call\":\"QarResStateRequest\",\"value\":\"7\"}\n"},
            {{"game-upgrade-clear", "14", "0"}, 0, "{\"call\":\"clrGameUpgradeMode\"}\n"},
            {{"zdbdebug-mark", "/a"},
             0,
             "{\"call\":\"jorv_add_zdbdebug_for_request_parcel\",\"paths\":[\"zdbdebug\"]}\n"},
            {{"res-release", "999"}, 1, R"("result":-1)"},
            {{"request", "0x40=1", "--bogus"}, 2, ""},
            {{"no-such-command"}, 2, ""},
    };
    std::string outputs;
    for (const Case& c : cases) {
        std::vector<std::string> args = {"--json"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const QarctlRun run = qarctl(sim.dir(), args);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.args[0] << "\n" << run.out;
        EXPECT_TRUE(contains(run.out, c.expected)) << c.args[0] << "\n" << run.out;
        outputs += run.out;
    }
    // Every line is one strict JSON object, whatever the values hold.
    std::string error;
    EXPECT_TRUE(jorvsimtest::readStrictJsonLines(outputs, &error).has_value()) << error;
}

TEST(QarctlTest, ExplainNeedsNoService) {
    char pattern[] = "/tmp/qarctl-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const QarctlRun run = qarctl(pattern, {"--explain", "request", "0x40=1", "--param1", "2000"});
    rmdir(pattern);
    EXPECT_EQ(run.exitCode, 0) << run.out;
    EXPECT_TRUE(contains(run.out, "service: call ")) << run.out;
    EXPECT_TRUE(contains(run.out, R"(request {type=1(resource) data=[{id=64 value="1"}])"))
            << run.out;
    EXPECT_TRUE(contains(run.out, "jorvResCtlRequest -> 0x00000001\n")) << run.out;
}

// qarctl's own options may stand before or after the command and its arguments.
TEST(QarctlTest, GlobalOptionsAreTakenAnywhereOnTheLine) {
    char dir[] = "/tmp/qarctl-test-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string json = R"({"call":"qarGetRandomHandle","result":)";
    const std::string text = "qarGetRandomHandle -> 0x";
    struct Case {
        std::vector<std::string> args;
        int exitCode;
        std::string start;  // of the output
    };
    const std::vector<Case> cases = {
            {{"--json", "random-handle"}, 0, json},
            {{"random-handle", "--json"}, 0, json},
            {{"--quiet", "random-handle", "--wait-ms", "100", "--json"}, 0, json},
            {{"random-handle", "--wait-ms=5", "-q"}, 0, text},
            {{"--wait-ms", "0", "--explain", "random-handle"}, 0, text},
            {{"random-handle", "--wait-ms"}, 2, ""},
            {{"random-handle", "--wait-ms", "soon"}, 2, ""},
            {{"--bogus", "random-handle"}, 2, ""},
            {{"random-handle", "--bogus"}, 2, ""},
            {{"random-handle", "--", "--json"}, 2, ""},
            {{"random-handle", "--help"}, 0, "usage: qarctl random-handle"},
            {{"--json", "--help", "random-handle"}, 0, "usage: qarctl [--json]"},
    };
    for (const Case& c : cases) {
        const QarctlRun run = qarctl(dir, c.args);
        const std::string name = c.args[0] + " " + c.args[1];
        EXPECT_EQ(run.exitCode, c.exitCode) << name << "\n" << run.out;
        EXPECT_EQ(run.out.rfind(c.start, 0), 0u) << name << "\n" << run.out;
    }
    rmdir(dir);
}

TEST(QarctlTest, ListenerHearsAnotherProcessesRequest) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    SimProcess listener(QARCTL_PATH,
                        {"--json", "listen", "0x40800000", "--count", "1", "--timeout-ms", "30000"},
                        sim.dir());
    ASSERT_TRUE(listener.spawn());
    ASSERT_TRUE(sim.waitForLine(
            [](const std::string& line) { return contains(line, "listeningRegister"); }));
    EXPECT_EQ(qarctl(sim.dir(), {"request", "0x40800000=9"}).exitCode, 0);
    int status = 0;
    const std::optional<std::string> out = listener.output(&status);
    ASSERT_TRUE(out.has_value());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << *out;
    EXPECT_TRUE(
            contains(*out, R"({"event":"callback","resources":[{"id":1082130432,"value":"9"}]})"))
            << *out;
}

// A service directory whose instance is declared but whose service is gone: jorv-sim started
// there and killed.
void killSim(SimProcess& sim) {
    sim.signal(SIGKILL);
    ASSERT_TRUE(sim.waitExit().has_value());
}

// Whether `pid` runs more than one thread: by then qarctl has its signals blocked.
bool waitForThreads(pid_t pid) {
    const auto deadline = std::chrono::steady_clock::now() + kLongTimeout;
    while (std::chrono::steady_clock::now() < deadline) {
        int threads = 0;
        if (DIR* tasks = opendir(("/proc/" + std::to_string(pid) + "/task").c_str())) {
            while (const dirent* entry = readdir(tasks)) threads += entry->d_name[0] != '.';
            closedir(tasks);
        }
        if (threads > 1) return true;
        std::this_thread::yield();
    }
    return false;
}

// The listener's own line for a registration the service accepted.
bool registeredHere(const std::string& line) {
    return contains(line, R"("call":"jorvResListeningRegister","result":)") &&
           !contains(line, R"("result":-)");
}

TEST(QarctlTest, SignalsEndAWaitForTheService) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    killSim(sim);
    for (const auto& [sig, exitCode] : {std::pair{SIGTERM, 143}, std::pair{SIGINT, 130}}) {
        SimProcess client(QARCTL_PATH, {"--wait-ms", "0", "request", "1=1"}, sim.dir());
        ASSERT_TRUE(client.spawn());
        ASSERT_TRUE(waitForThreads(client.pid()));
        client.signal(sig);
        const std::optional<int> status =
                client.waitExit(milliseconds(1000 * qartest::kSanitizerSlowdown));
        ASSERT_TRUE(status.has_value())
                << "still running 1 s (times the sanitizer slowdown) after signal " << sig;
        EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == exitCode) << *status;
    }
}

TEST(QarctlTest, InterruptedListenerEndsItsListening) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    SimProcess listener(QARCTL_PATH, {"--json", "listen", "0x40800000"}, sim.dir());
    ASSERT_TRUE(listener.spawn());
    ASSERT_TRUE(listener.waitForLine(registeredHere));
    listener.signal(SIGINT);
    const std::optional<int> status = listener.waitExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 130) << *status;
    EXPECT_TRUE(sim.waitForLine(
            [](const std::string& line) { return contains(line, "listeningUnregister"); }));
}

TEST(QarctlTest, WaitBoundEndsAWaitForADeclaredService) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    killSim(sim);
    for (const auto& [json, expected] :
         {std::pair{false, "reason: service declared but not running\n"},
          std::pair{true, R"({"event":"reason","reason":"service declared but not running"})"}}) {
        std::vector<std::string> args = {"--wait-ms", "200", "request", "1=1"};
        if (json) args.insert(args.begin(), "--json");
        const auto start = std::chrono::steady_clock::now();
        const QarctlRun run = qarctl(sim.dir(), args);
        EXPECT_LT(std::chrono::steady_clock::now() - start, kLongTimeout);
        EXPECT_EQ(run.exitCode, 1) << run.out;
        EXPECT_TRUE(contains(run.out, expected)) << run.out;
    }
}

TEST(QarctlTest, FollowingListenerRegistersAgainWhenTheServiceIsBack) {
    char dir[] = "/tmp/qarctl-test-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    {
        SimProcess first(dir, {});
        ASSERT_TRUE(first.start());
        SimProcess listener(QARCTL_PATH,
                            {"--json", "listen", "0x40800000", "--follow", "--count", "1"}, dir);
        // Without --follow, the service's death ends the listener.
        SimProcess once(QARCTL_PATH, {"--json", "listen", "0x40800000"}, dir);
        ASSERT_TRUE(listener.spawn() && once.spawn());
        ASSERT_TRUE(listener.waitForLine(registeredHere) && once.waitForLine(registeredHere));
        killSim(first);
        int status = 0;
        const std::optional<std::string> out = once.output(&status);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
        EXPECT_TRUE(contains(out.value_or(""), R"({"event":"died")"));
        ASSERT_TRUE(listener.waitForLine(
                [](const std::string& line) { return contains(line, R"("event":"died")"); }));
        SimProcess second(dir, {});
        ASSERT_TRUE(second.start());
        ASSERT_TRUE(listener.waitForLine(registeredHere, 1));
        EXPECT_EQ(qarctl(dir, {"request", "0x40800000=9"}).exitCode, 0);
        const std::optional<int> followed = listener.waitExit();
        ASSERT_TRUE(followed.has_value());
        EXPECT_TRUE(WIFEXITED(*followed) && WEXITSTATUS(*followed) == 0) << *followed;
    }
    EXPECT_EQ(system(("rm -rf " + std::string(dir)).c_str()), 0);
}

TEST(QarctlTest, FailuresSayWhy) {
    struct Case {
        bool service;
        std::vector<std::string> simArgs;
        std::vector<std::string> args;
        std::string reason;
    };
    const std::vector<Case> cases = {
            {false, {}, {"request", "1=1"}, "instance not declared"},
            {true,
             {"--fail-next", "1", "--fail-with", "exception"},
             {"request", "0x40=1"},
             "service failed the call: jorvResCtlRequest()"},
            {true, {}, {"multi-state"}, "resource list invalid"},
            {true, {}, {"unlisten", "77"}, "no such listening"},
            {true, {}, {"acquire", "ACTION_LAUNCH"}, "unknown action name"},
            {true, {}, {"res-release", "999"}, "the service refused the call (no cause logged)"},
    };
    for (const Case& c : cases) {
        std::optional<SimProcess> sim;
        char empty[] = "/tmp/qarctl-test-XXXXXX";
        std::string dir;
        if (c.service) {
            sim.emplace(c.simArgs);
            ASSERT_TRUE(sim->start());
            dir = sim->dir();
        } else {
            ASSERT_NE(mkdtemp(empty), nullptr);
            dir = empty;
        }
        const QarctlRun text = qarctl(dir, c.args);
        EXPECT_EQ(text.exitCode, 1) << text.out;
        EXPECT_TRUE(contains(text.out, "\nreason: " + c.reason + "\n")) << text.out;
        if (!c.service) {
            std::vector<std::string> args = {"--json"};
            args.insert(args.end(), c.args.begin(), c.args.end());
            const QarctlRun json = qarctl(dir, args);
            EXPECT_TRUE(contains(json.out, R"({"event":"reason","reason":")" + c.reason))
                    << json.out;
            rmdir(empty);
        }
    }
}

TEST(QarctlTest, NumbersAreParsedForTheirType) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    struct Case {
        std::vector<std::string> args;
        int exitCode;
        std::string expected;  // part of the output
    };
    std::vector<Case> cases = {
            // Non-negative counts and bounded durations.
            {{"listen", "0x40", "--count", "4294967297"}, 2, ""},
            {{"listen", "0x40", "--count", "-1"}, 2, ""},
            {{"listen", "0x40", "--count", "-0"}, 2, ""},
            {{"listen", "0x40", "--timeout-ms", "9223372036854775807"}, 2, ""},
            {{"listen", "0x40", "--timeout-ms", "18446744073709551616"}, 2, ""},
            {{"listen", "0x40", "--timeout-ms", "-1"}, 2, ""},
            // Ids: 32 bits, signed or as an unsigned bit pattern.
            {{"res-state", "0x100000000"}, 2, ""},
            {{"res-state", "4294967296"}, 2, ""},
            {{"res-state", "0xffffffff"}, 0, "jorvResStateRequest"},
    };
    // 32-bit signed --timeout: refused outside its range or in any other form.
    for (const char* bad : {"4294967296", "2147483648", "-2147483649", "0x80000000", "12ms", "010",
                            "08", "", "+5", " 5", "0x", "1e3", "0b11"}) {
        cases.push_back({{"res-acquire", "0x40=1", "--timeout", bad}, 2, ""});
    }
    for (const char* good : {"2147483647", "-2147483648", "0x7fffffff", "-0x10", "0"}) {
        cases.push_back({{"res-acquire", "0x40=1", "--timeout", good}, 0, "QarResAcquire"});
    }
    for (const Case& c : cases) {
        const QarctlRun run = qarctl(sim.dir(), c.args);
        const std::string name = c.args[c.args.size() - 2] + " " + c.args.back();
        EXPECT_EQ(run.exitCode, c.exitCode) << name << "\n" << run.out;
        EXPECT_TRUE(contains(run.out, c.expected)) << name << "\n" << run.out;
        // A refusal is reported on stderr only, before anything reaches the service.
        if (c.exitCode == 2) {
            EXPECT_EQ(run.out, "") << name;
        }
    }
}

TEST(QarctlTest, ShellRefusesALineWithNulAndGoesOn) {
    SimProcess sim;
    ASSERT_TRUE(sim.start());
    // Cut at its NUL, the first line would be a valid call.
    const std::string script = "printf 'prop-set a b\\000 junk\\nprop-set a b\\n' | ";
    SimProcess shell("/bin/sh", {"-c", script + QARCTL_PATH + " --quiet shell"}, sim.dir());
    ASSERT_TRUE(shell.spawn());
    int status = 0;
    const std::optional<std::string> out = shell.output(&status);
    ASSERT_TRUE(out.has_value());
    EXPECT_TRUE(contains(*out, "done status=2\n")) << *out;
    EXPECT_TRUE(contains(*out, "done status=0\n")) << *out;
    EXPECT_LT(out->find("status=2"), out->find("status=0")) << *out;
}

}  // namespace
