// Fuzzes the host binder runtime's frame and parcel decoding from the outside: each input becomes
// the bytes a client writes into a fresh connection to a service of this process, after which the
// client stops sending. Whatever the bytes, the service must answer what it understood, close the
// connection, and go on serving everyone else; nothing else may happen (no sanitizer report, no
// descriptor or thread left behind).
//
// An input is either sent verbatim (its last byte odd), or read as a few frames whose sizes the
// harness makes add up, so that most inputs get past the framing into the object tables and the
// parcels: transactions to the service (often with the real interface token and well-formed
// arguments written by the runtime itself, followed by arbitrary bytes), replies nobody asked for,
// reference drops, and raw chunks.
//
// Every input ends only once the service has given back the connection's descriptors, so that
// each input is checked on its own and none overlaps the next.
//
// One service, one well-formed client and one service directory serve all inputs. The runtime
// watches every connection from one event loop, so each input costs a connect and no thread;
// nothing else is created per input.

#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/BnJorvCallback.h>
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
#include <dirent.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <hostjorv/meta_transactions.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "parcel_internal.h"
#include "support/FuzzSupport.h"
#include "support/ServiceDir.h"
#include "wire.h"

namespace {

namespace jorv = ::aidl::vendor::vemra::hardware::jorv;
namespace wire = ::hostbinder::wire;
using Bytes = std::vector<uint8_t>;
using qarfuzz::check;

constexpr char kInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";
constexpr transaction_code_t kPing = ('_' << 24) | ('P' << 16) | ('N' << 8) | 'G';
constexpr transaction_code_t kInterface = ('_' << 24) | ('N' << 16) | ('T' << 8) | 'F';
// Bounds one input's traffic well below what the socket buffers hold, so a send never blocks.
constexpr size_t kMaxSend = 64 * 1024;
constexpr size_t kMaxFrames = 4;
// Only bounds how long a broken runtime keeps the run waiting; a healthy one closes at once.
constexpr auto kCloseTimeout = std::chrono::seconds(20);
// Threads leave the process some time after their connection is gone, so they are counted only
// every so many inputs.
constexpr uint64_t kThreadCheckInterval = 512;
// The binder pool only grows, up to its cap (the NDK's default); nothing else may stay.
constexpr int kPoolThreadCap = 15;

// Answers every call at once with a fixed result, and calls back any callback it is given (such a
// callback normally lives behind the very connection being fuzzed, which never answers: the call
// ends when that connection does).
class QuietJorv : public jorv::BnJorv {
public:
    ndk::ScopedAStatus init() override { return ok(); }
    ndk::ScopedAStatus request(const jorv::JorvRequestParcel& parcel, int32_t* out) override {
        callBack(parcel.callback);
        *out = 1;
        return ok();
    }
    ndk::ScopedAStatus release(int32_t handle, int32_t* out) override {
        *out = handle;
        return ok();
    }
    ndk::ScopedAStatus stateRequest(const jorv::JorvRequestParcel& parcel,
                                    std::vector<jorv::JorvRequestData>* out) override {
        *out = parcel.dataList;
        return ok();
    }
    ndk::ScopedAStatus listeningRegister(const jorv::JorvRequestParcel& /*parcel*/,
                                         const std::shared_ptr<jorv::IJorvCallback>& callback,
                                         int32_t* out) override {
        callBack(callback);
        *out = 1;
        return ok();
    }
    ndk::ScopedAStatus listeningUnregister(int32_t /*handle*/, int32_t* out) override {
        *out = 0;
        return ok();
    }
    ndk::ScopedAStatus propertyGet(const std::string& name, std::string* out) override {
        *out = name;
        return ok();
    }
    ndk::ScopedAStatus propertySet(const std::string& /*name*/, const std::string& /*value*/,
                                   int32_t* out) override {
        *out = 0;
        return ok();
    }
    ndk::ScopedAStatus thermalListeningRegister(
            const std::vector<int32_t>& /*ids*/,
            const std::shared_ptr<jorv::IJorvCallback>& callback, int32_t* out) override {
        callBack(callback);
        *out = 1;
        return ok();
    }
    ndk::ScopedAStatus thermalListeningUnregister(int32_t /*handle*/, int32_t* out) override {
        *out = 0;
        return ok();
    }
    ndk::ScopedAStatus reserved10() override { return ok(); }
    ndk::ScopedAStatus setRelatedSysInfo(int32_t /*a*/, const std::string& /*info*/,
                                         int32_t* out) override {
        *out = 0;
        return ok();
    }
    ndk::ScopedAStatus ruleCtl(int32_t /*ruleId*/, int32_t /*status*/,
                               const std::vector<jorv::JorvRequestData>& /*data*/,
                               int32_t* out) override {
        *out = 0;
        return ok();
    }
    ndk::ScopedAStatus requestOneWay(const jorv::JorvRequestParcel& parcel) override {
        callBack(parcel.callback);
        return ok();
    }

private:
    static ndk::ScopedAStatus ok() { return ndk::ScopedAStatus::ok(); }
    static void callBack(const std::shared_ptr<jorv::IJorvCallback>& callback) {
        if (callback != nullptr) callback->onCallback({jorv::JorvRequestData{}});
    }
};

// A callback object to write into parcels, so that they carry a real flattened binder.
class SilentCallback : public jorv::BnJorvCallback {
public:
    ndk::ScopedAStatus onCallback(const std::vector<jorv::JorvRequestData>& /*data*/) override {
        return ndk::ScopedAStatus::ok();
    }
};

struct Fixture {
    std::shared_ptr<QuietJorv> service;
    std::shared_ptr<jorv::IJorv> client;  // the well-formed client that must keep being served
    std::shared_ptr<SilentCallback> callback;
    std::string socketPath;
    int baselineFds = 0;
    int baselineThreads = 0;
    uint64_t inputs = 0;
};

// Lives for the whole process: the runtime's threads may still use the service at exit.
Fixture* gFixture = nullptr;

// Descriptors of the kinds a connection holds (its socket and its epoll instance). Others come
// and go with the fuzzing engine itself (the symbolizer's pipes, corpus files).
int countConnectionFds() {
    DIR* d = opendir("/proc/self/fd");
    if (d == nullptr) return -1;
    int n = 0;
    while (dirent* e = readdir(d)) {
        char target[64] = {};
        const std::string link = std::string("/proc/self/fd/") + e->d_name;
        if (readlink(link.c_str(), target, sizeof(target) - 1) <= 0) continue;
        if (std::strncmp(target, "socket:", 7) == 0 ||
            std::strcmp(target, "anon_inode:[eventpoll]") == 0) {
            ++n;
        }
    }
    closedir(d);
    return n;
}

int countThreads() {
    std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(tasks, std::filesystem::directory_iterator()));
}

// Polls `done` until it holds or `timeout` passes.
template <typename Pred>
bool eventually(Pred done, std::chrono::seconds timeout = kCloseTimeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return done();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::string findServiceSocket(const std::string& dir) {
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        struct stat st;
        if (lstat(entry.path().c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) return entry.path();
    }
    return std::string();
}

android::base::unique_fd connectTo(const std::string& path) {
    android::base::unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    check(fd.ok(), "cannot create a socket");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int rc;
    do {
        rc = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    } while (rc != 0 && errno == EINTR);
    check(rc == 0, "cannot connect to the service");
    return fd;
}

template <typename T>
void put(Bytes& bytes, T value) {
    const auto* p = reinterpret_cast<const uint8_t*>(&value);
    bytes.insert(bytes.end(), p, p + sizeof(T));
}

void putBytes(Bytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

jorv::JorvRequestParcel consumeRequestParcel(FuzzedDataProvider& provider) {
    jorv::JorvRequestParcel parcel;
    parcel.requestType = provider.ConsumeIntegral<int32_t>();
    parcel.dataList = qarfuzz::consumeRecords(provider, 3, 16);
    parcel.flag = provider.ConsumeBool();
    parcel.param3 = provider.ConsumeIntegral<int32_t>();
    parcel.param5 = provider.ConsumeIntegral<int32_t>();
    parcel.param1 = provider.ConsumeIntegral<int64_t>();
    if (provider.ConsumeBool()) parcel.paths = {std::string("zdbdebug"), std::nullopt};
    parcel.param0 = provider.ConsumeIntegral<int32_t>();
    if (provider.ConsumeBool()) parcel.callback = gFixture->callback;
    if (provider.ConsumeBool()) parcel.text1 = qarfuzz::consumeSendableText(provider, 16);
    if (provider.ConsumeBool()) parcel.numbers = std::vector<int32_t>{1, -1};
    return parcel;
}

// Arguments of one of the interface's calls, written by the runtime.
void writeArguments(FuzzedDataProvider& provider, AParcel* parcel) {
    switch (provider.ConsumeIntegralInRange(0, 4)) {
        case 0:
            ndk::AParcel_writeData(parcel, consumeRequestParcel(provider));
            break;
        case 1:
            ndk::AParcel_writeData(parcel, provider.ConsumeIntegral<int32_t>());
            break;
        case 2:
            ndk::AParcel_writeData(parcel, qarfuzz::consumeSendableText(provider, 32));
            ndk::AParcel_writeData(parcel, qarfuzz::consumeSendableText(provider, 32));
            break;
        case 3: {
            std::vector<int32_t> ids(provider.ConsumeIntegralInRange<size_t>(0, 4));
            for (int32_t& id : ids) id = provider.ConsumeIntegral<int32_t>();
            ndk::AParcel_writeData(parcel, ids);
            const std::shared_ptr<jorv::IJorvCallback> callback =
                    provider.ConsumeBool() ? gFixture->callback : nullptr;
            ndk::AParcel_writeData(parcel, callback);
            break;
        }
        default:
            ndk::AParcel_writeData(parcel, provider.ConsumeIntegral<int32_t>());
            ndk::AParcel_writeData(parcel, provider.ConsumeIntegral<int32_t>());
            ndk::AParcel_writeData(parcel, qarfuzz::consumeRecords(provider, 3, 16));
            break;
    }
}

// Object records: one for each binder the runtime flattened into the data (sent as this side's
// objects, under arbitrary ids), then possibly a few arbitrary ones.
void appendObjects(FuzzedDataProvider& provider, const AParcel& parcel, Bytes* objects,
                   uint32_t* count) {
    for (const hostbinder::ParcelObject& object : parcel.mObjects) {
        put<uint32_t>(*objects, static_cast<uint32_t>(object.offset));
        put<uint32_t>(*objects, provider.ConsumeBool() ? wire::kSenderObject
                                                       : provider.ConsumeIntegral<uint32_t>());
        put<uint64_t>(*objects, provider.ConsumeIntegralInRange<uint64_t>(0, 4));
        ++*count;
    }
    for (int n = provider.ConsumeIntegralInRange(0, 2); n > 0; --n) {
        put<uint32_t>(*objects, provider.ConsumeIntegral<uint32_t>());
        put<uint32_t>(*objects, provider.ConsumeIntegralInRange<uint32_t>(0, 3));
        put<uint64_t>(*objects, provider.ConsumeIntegralInRange<uint64_t>(0, 4));
        ++*count;
    }
}

transaction_code_t consumeCode(FuzzedDataProvider& provider) {
    switch (provider.ConsumeIntegralInRange(0, 3)) {
        case 0:
            return FIRST_CALL_TRANSACTION + provider.ConsumeIntegralInRange<uint32_t>(0, 13);
        case 1:
            return provider.PickValueInArray({kPing, kInterface,
                                              hostjorv::kGetInterfaceVersionTransaction,
                                              hostjorv::kGetInterfaceHashTransaction});
        default:
            return provider.ConsumeIntegral<uint32_t>();
    }
}

// Appends a frame of `type` around `body`: its size field tells the truth unless the input says
// otherwise.
void appendFrame(FuzzedDataProvider& provider, uint32_t type, const Bytes& body, Bytes* out) {
    uint32_t size = static_cast<uint32_t>(sizeof(wire::FrameHeader) + body.size());
    if (provider.ConsumeIntegralInRange(0, 15) == 0) size = provider.ConsumeIntegral<uint32_t>();
    put<uint32_t>(*out, size);
    put<uint32_t>(*out, type);
    out->insert(out->end(), body.begin(), body.end());
}

void appendTransaction(FuzzedDataProvider& provider, Bytes* out) {
    AParcel* parcel = nullptr;
    if (provider.ConsumeBool()) {
        // The real interface token, as the runtime writes it.
        check(AIBinder_prepareTransaction(gFixture->client->asBinder().get(), &parcel) == STATUS_OK,
              "cannot start a parcel");
    } else {
        parcel = AParcel_create();
    }
    if (provider.ConsumeBool()) writeArguments(provider, parcel);
    Bytes data = parcel->mData;
    putBytes(data, provider.ConsumeRandomLengthString(256));
    Bytes objects;
    uint32_t objectCount = 0;
    appendObjects(provider, *parcel, &objects, &objectCount);
    AParcel_delete(parcel);

    const bool honest = provider.ConsumeIntegralInRange(0, 7) != 0;
    Bytes body;
    put<uint64_t>(body, provider.ConsumeIntegralInRange<uint64_t>(1, 3));  // txnId
    put<uint64_t>(body, provider.ConsumeBool() ? wire::kRootObjectId
                                               : provider.ConsumeIntegral<uint64_t>());
    put<uint32_t>(body, consumeCode(provider));
    put<uint32_t>(body, provider.ConsumeIntegralInRange(0, 7) != 0
                                ? provider.ConsumeIntegralInRange<uint32_t>(0, FLAG_ONEWAY)
                                : provider.ConsumeIntegral<uint32_t>());
    put<uint32_t>(body, honest ? static_cast<uint32_t>(data.size())
                               : provider.ConsumeIntegral<uint32_t>());
    put<uint32_t>(body, honest ? objectCount : provider.ConsumeIntegral<uint32_t>());
    body.insert(body.end(), data.begin(), data.end());
    body.insert(body.end(), objects.begin(), objects.end());
    appendFrame(provider, wire::kTransaction, body, out);
}

void appendReply(FuzzedDataProvider& provider, Bytes* out) {
    const std::string data = provider.ConsumeRandomLengthString(64);
    Bytes body;
    put<uint64_t>(body, provider.ConsumeIntegralInRange<uint64_t>(0, 3));
    put<int32_t>(body, provider.ConsumeBool() ? STATUS_OK : provider.ConsumeIntegral<int32_t>());
    put<uint32_t>(body, static_cast<uint32_t>(data.size()));
    put<uint32_t>(body, 0);
    put<uint32_t>(body, provider.ConsumeIntegral<uint32_t>());
    putBytes(body, data);
    appendFrame(provider, wire::kReply, body, out);
}

void appendDecRefs(FuzzedDataProvider& provider, Bytes* out) {
    Bytes body;
    for (int n = provider.ConsumeIntegralInRange(0, 3); n > 0; --n) {
        put<uint64_t>(body, provider.ConsumeIntegralInRange<uint64_t>(0, 4));
        put<uint32_t>(body, provider.ConsumeIntegralInRange<uint32_t>(0, 3));
        put<uint32_t>(body, provider.ConsumeIntegral<uint32_t>());
    }
    appendFrame(provider, wire::kDecRefs, body, out);
}

Bytes consumeTraffic(FuzzedDataProvider& provider) {
    if (provider.ConsumeBool()) {
        const std::string raw = provider.ConsumeRemainingBytesAsString();
        return Bytes(raw.begin(), raw.end());
    }
    Bytes out;
    for (size_t i = 0; i < kMaxFrames && provider.remaining_bytes() > 0 && out.size() < kMaxSend;
         ++i) {
        switch (provider.ConsumeIntegralInRange(0, 3)) {
            case 0:
                appendTransaction(provider, &out);
                break;
            case 1:
                appendReply(provider, &out);
                break;
            case 2:
                appendDecRefs(provider, &out);
                break;
            default:
                putBytes(out, provider.ConsumeRandomLengthString(64));
                break;
        }
    }
    if (out.size() > kMaxSend) out.resize(kMaxSend);
    return out;
}

// Sends `traffic` and stops sending; true once the service has closed its end. What the service
// sends meanwhile (replies, calls to objects of this side) is read and dropped.
bool sendAndAwaitClose(const Bytes& traffic) {
    const android::base::unique_fd fd = connectTo(gFixture->socketPath);
    // The service may close early (on a bad frame) and leave the rest unsent: that is fine.
    size_t sent = 0;
    while (sent < traffic.size()) {
        const ssize_t n = send(fd, traffic.data() + sent, traffic.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
    shutdown(fd, SHUT_WR);

    bool closed = false;
    const auto deadline = std::chrono::steady_clock::now() + kCloseTimeout;
    char buffer[4096];
    while (!closed && std::chrono::steady_clock::now() < deadline) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, 100) <= 0) continue;
        const ssize_t n = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT);
        closed = n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR);
    }
    return closed;
}

bool stillServing() {
    const int32_t handle = static_cast<int32_t>(gFixture->inputs & 0x7fffffff);
    int32_t result = -1;
    return gFixture->client->release(handle, &result).isOk() && result == handle;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    const std::string dir = qarfuzz::usePrivateServiceDir();
    // Serves the service the inputs are sent to.
    ABinderProcess_startThreadPool();
    gFixture = new Fixture;
    gFixture->service = ndk::SharedRefBase::make<QuietJorv>();
    gFixture->callback = ndk::SharedRefBase::make<SilentCallback>();
    check(AServiceManager_addService(gFixture->service->asBinder().get(), kInstance) == EX_NONE,
          "cannot publish the service");
    gFixture->client =
            jorv::IJorv::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(kInstance)));
    check(gFixture->client != nullptr, "cannot reach the service");
    gFixture->socketPath = findServiceSocket(dir);
    check(!gFixture->socketPath.empty(), "the service has no socket");
    check(stillServing(), "the service does not answer");
    gFixture->baselineFds = countConnectionFds();
    gFixture->baselineThreads = countThreads();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    const Bytes traffic = consumeTraffic(provider);
    check(sendAndAwaitClose(traffic), "the service kept a connection open after its client ended");
    ++gFixture->inputs;
    check(stillServing(), "the service stopped serving its well-formed client");
    check(eventually([] { return countConnectionFds() <= gFixture->baselineFds; }),
          "descriptors were left behind by closed connections");
    if (gFixture->inputs % kThreadCheckInterval == 0) {
        check(eventually(
                      [] { return countThreads() <= gFixture->baselineThreads + kPoolThreadCap; }),
              "threads were left behind by closed connections");
    }
    return 0;
}
