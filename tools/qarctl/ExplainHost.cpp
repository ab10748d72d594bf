// The host build explains a call by running the reference service's model in this process, in a
// private service directory, and printing its transcript of each transaction it receives.

#include <hostbinder/control.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>

#include "Explain.h"
#include "Simulator.h"

namespace qarctl {

namespace {

// Turns the stand-in's transcript, written to a FILE*, into Output records line by line.
class TranscriptSink {
public:
    explicit TranscriptSink(Output& out) : mOut(out) {
        cookie_io_functions_t functions{};
        functions.write = [](void* cookie, const char* data, size_t size) -> ssize_t {
            static_cast<TranscriptSink*>(cookie)->append(data, size);
            return static_cast<ssize_t>(size);
        };
        mFile = fopencookie(this, "w", functions);
        if (mFile != nullptr) setvbuf(mFile, nullptr, _IOLBF, 0);
    }
    ~TranscriptSink() {
        if (mFile != nullptr) fclose(mFile);
    }
    FILE* file() const { return mFile; }

private:
    void append(const char* data, size_t size) {
        mPending.append(data, size);
        for (size_t end; (end = mPending.find('\n')) != std::string::npos;) {
            const std::string line = mPending.substr(0, end);
            mPending.erase(0, end + 1);
            // The start and stop of the stand-in are not part of the explanation.
            if (line.rfind("ready ", 0) == 0 || line.rfind("exit ", 0) == 0) continue;
            mOut.line("service", line);
        }
    }

    Output& mOut;
    FILE* mFile = nullptr;
    std::string mPending;
};

class HostExplainSession : public ExplainSession {
public:
    HostExplainSession(Output& out, std::string dir) : mDir(std::move(dir)), mSink(out) {}
    ~HostExplainSession() override {
        if (mSimulator != nullptr) mSimulator->stop();
        mSimulator.reset();
        std::error_code ignored;
        std::filesystem::remove_all(mDir, ignored);
    }

    bool start(std::string* error) {
        if (mSink.file() == nullptr) {
            *error = "cannot open the transcript stream";
            return false;
        }
        jorvsim::Options options;
        options.dir = mDir;
        options.declare = false;  // declared in this process only; nothing else may find it
        HostBinder_setServiceDir(mDir.c_str());
        mSimulator = std::make_unique<jorvsim::Simulator>(options, mSink.file(), stderr, [] {});
        return mSimulator->start(error);
    }

private:
    const std::string mDir;
    TranscriptSink mSink;
    std::unique_ptr<jorvsim::Simulator> mSimulator;
};

}  // namespace

std::unique_ptr<ExplainSession> startExplainSession(Output& out, std::string* error) {
    char pattern[] = "/tmp/qarctl-explain-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        *error = "cannot make a service directory";
        return nullptr;
    }
    auto session = std::make_unique<HostExplainSession>(out, pattern);
    if (!session->start(error)) return nullptr;
    return session;
}

}  // namespace qarctl
