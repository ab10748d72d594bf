// AStatus and AParcel without any transport: value semantics, wire round trips, and reads of
// short or corrupt data failing cleanly (ASan turns an out-of-bounds read into a failure).
#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_status.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "support/echo_jorv.h"
#include "support/recording_callback.h"

namespace hbtest {
namespace {

ndk::ScopedAParcel newParcel() {
    return ndk::ScopedAParcel(AParcel_create());
}

// --- AStatus --------------------------------------------------------------------------------

struct StatusCase {
    const char* name;
    AStatus* (*make)();
    bool ok;
    binder_exception_t exception;
    int32_t serviceSpecific;
    binder_status_t status;
    const char* message;
};

const StatusCase kStatusCases[] = {
        {"newOk", [] { return AStatus_newOk(); }, true, EX_NONE, 0, STATUS_OK, ""},
        {"exception", [] { return AStatus_fromExceptionCode(EX_ILLEGAL_STATE); }, false,
         EX_ILLEGAL_STATE, 0, STATUS_OK, ""},
        {"exceptionWithMessage",
         [] { return AStatus_fromExceptionCodeWithMessage(EX_SECURITY, "not yours"); }, false,
         EX_SECURITY, 0, STATUS_OK, "not yours"},
        {"serviceSpecific", [] { return AStatus_fromServiceSpecificError(42); }, false,
         EX_SERVICE_SPECIFIC, 42, STATUS_OK, ""},
        {"serviceSpecificNegativeWithMessage",
         [] { return AStatus_fromServiceSpecificErrorWithMessage(-7, "out of range"); }, false,
         EX_SERVICE_SPECIFIC, -7, STATUS_OK, "out of range"},
        {"fromStatusOk", [] { return AStatus_fromStatus(STATUS_OK); }, true, EX_NONE, 0, STATUS_OK,
         ""},
        {"fromStatusDeadObject", [] { return AStatus_fromStatus(STATUS_DEAD_OBJECT); }, false,
         EX_TRANSACTION_FAILED, 0, STATUS_DEAD_OBJECT, ""},
        {"fromStatusUnknownError", [] { return AStatus_fromStatus(STATUS_UNKNOWN_ERROR); }, false,
         EX_TRANSACTION_FAILED, 0, STATUS_UNKNOWN_ERROR, ""},
};

class StatusTest : public ::testing::TestWithParam<StatusCase> {};

// Getters and description match the constructor, and everything but a transport failure survives
// the status header a reply carries.
TEST_P(StatusTest, GettersDescriptionAndHeaderRoundTrip) {
    const StatusCase& c = GetParam();
    ndk::ScopedAStatus s(c.make());
    ASSERT_NE(s.get(), nullptr);
    EXPECT_EQ(AStatus_isOk(s.get()), c.ok);
    EXPECT_EQ(AStatus_getExceptionCode(s.get()), c.exception);
    EXPECT_EQ(AStatus_getServiceSpecificError(s.get()), c.serviceSpecific);
    EXPECT_EQ(AStatus_getStatus(s.get()), c.status);
    ASSERT_NE(AStatus_getMessage(s.get()), nullptr);
    EXPECT_STREQ(AStatus_getMessage(s.get()), c.message);

    const char* desc = AStatus_getDescription(s.get());
    ASSERT_NE(desc, nullptr);
    const std::string text(desc);
    AStatus_deleteDescription(desc);
    EXPECT_FALSE(text.empty());
    EXPECT_NE(text.find(c.message), std::string::npos) << text;
    if (c.exception == EX_SERVICE_SPECIFIC) {
        EXPECT_NE(text.find(std::to_string(c.serviceSpecific)), std::string::npos) << text;
    }
    EXPECT_EQ(s.getDescription(), text);

    ndk::ScopedAParcel p = newParcel();
    const binder_status_t written = AParcel_writeStatusHeader(p.get(), s.get());
    if (c.exception == EX_TRANSACTION_FAILED) {
        EXPECT_EQ(written, c.status) << "a transport failure is returned, not written";
        return;
    }
    ASSERT_EQ(written, STATUS_OK);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    AStatus* raw = nullptr;
    ASSERT_EQ(AParcel_readStatusHeader(p.get(), &raw), STATUS_OK);
    ndk::ScopedAStatus back(raw);
    ASSERT_NE(back.get(), nullptr);
    EXPECT_EQ(back.isOk(), c.ok);
    EXPECT_EQ(back.getExceptionCode(), c.exception);
    EXPECT_EQ(back.getServiceSpecificError(), c.serviceSpecific);
    EXPECT_STREQ(back.getMessage(), c.message);
}

INSTANTIATE_TEST_SUITE_P(AStatus, StatusTest, ::testing::ValuesIn(kStatusCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Like free(), deleting no status at all is harmless.
TEST(StatusDeleteTest, AcceptsNull) {
    AStatus_delete(nullptr);
}

// --- Values ---------------------------------------------------------------------------------

template <typename T>
bool sameValue(const T& a, const T& b) {
    if constexpr (std::is_floating_point_v<T>) {
        return std::memcmp(&a, &b, sizeof(T)) == 0;  // keeps -0.0 and NaN payloads honest
    } else {
        return a == b;
    }
}

constexpr int32_t kSentinel = 0x600d;

// Writes `value` (taking exactly `size` bytes when given) then a sentinel word, checks the parcel
// stays word-aligned (odd counts of sub-word elements exercise the padding), and reads both back.
// A scalar is then read once more past the end, which must fail without touching the output.
template <typename T>
void roundTrip(const T& value, int32_t size = -1) {
    SCOPED_TRACE(::testing::internal::GetTypeName<T>());
    ndk::ScopedAParcel p = newParcel();
    ASSERT_EQ(ndk::AParcel_writeData(p.get(), value), STATUS_OK);
    if (size >= 0) {
        EXPECT_EQ(AParcel_getDataSize(p.get()), size);
        EXPECT_EQ(AParcel_getDataPosition(p.get()), size);
    }
    ASSERT_EQ(AParcel_writeInt32(p.get(), kSentinel), STATUS_OK);
    EXPECT_EQ(AParcel_getDataSize(p.get()) % 4, 0);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    T got{};
    ASSERT_EQ(ndk::AParcel_readData(p.get(), &got), STATUS_OK);
    EXPECT_TRUE(sameValue(got, value));
    int32_t sentinel = 0;
    ASSERT_EQ(AParcel_readInt32(p.get(), &sentinel), STATUS_OK);
    EXPECT_EQ(sentinel, kSentinel);
    if constexpr (std::is_arithmetic_v<T>) {
        T past = value;
        EXPECT_NE(ndk::AParcel_readData(p.get(), &past), STATUS_OK) << "read past the end";
        EXPECT_TRUE(sameValue(past, value)) << "failed read changed its output";
    }
}

template <typename T>
void roundTripNullEmptyAnd(std::vector<T> values) {
    for (const auto& c : {std::optional<std::vector<T>>(), std::optional(std::vector<T>{}),
                          std::optional(values)}) {
        roundTrip(c);
    }
}

TEST(ParcelTest, ScalarsArraysAndStringsRoundTrip) {
    using I32 = std::numeric_limits<int32_t>;
    using I64 = std::numeric_limits<int64_t>;
    for (int32_t v : {0, -1, I32::min(), I32::max()}) roundTrip(v, 4);
    for (uint32_t v : {0u, 0xffffffffu, 0x80000000u}) roundTrip(v, 4);
    for (int64_t v : {int64_t{0}, int64_t{-1}, I64::min(), I64::max(), int64_t{-4294967296}}) {
        roundTrip(v, 8);
    }
    for (uint64_t v : {0ull, ~0ull, 0x8000000000000000ull}) roundTrip(v, 8);
    for (float v : {0.0f, -0.0f, 1.5f, std::numeric_limits<float>::infinity(),
                    std::numeric_limits<float>::denorm_min()}) {
        roundTrip(v, 4);
    }
    for (double v : {0.0, -0.0, -1e300, std::numeric_limits<double>::quiet_NaN()}) roundTrip(v, 8);
    for (bool v : {true, false}) roundTrip(v, 4);
    for (char16_t v : {u'a', static_cast<char16_t>(0xffff), u'\0'}) roundTrip(v, 4);
    for (int8_t v : {0, -128, 127}) roundTrip(v, 4);

    roundTripNullEmptyAnd<int32_t>({1, -2, I32::min()});
    roundTripNullEmptyAnd<uint32_t>({0u, 0xffffffffu});
    roundTripNullEmptyAnd<int64_t>({I64::min(), -1, 5});
    roundTripNullEmptyAnd<uint64_t>({~0ull, 3});
    roundTripNullEmptyAnd<float>({-0.5f, 3.5f});
    roundTripNullEmptyAnd<double>({1e-300, -2});
    roundTripNullEmptyAnd<char16_t>({u'x', static_cast<char16_t>(0xd800), u'z'});
    roundTripNullEmptyAnd<int8_t>({-1, 0, 127, 5, 9});
    roundTripNullEmptyAnd<bool>({true, false, true, true});
    roundTripNullEmptyAnd<std::optional<std::string>>(
            {std::string("x"), std::nullopt, std::string(), std::string("longer value")});
    for (const auto& c : {std::string("a"), std::string("abc"), std::string("abcd"),
                          std::string("gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80"),
                          std::string(100000, 'q')}) {
        roundTrip(std::optional(c));
    }

    // A string written with a length shorter than its text is cut there.
    ndk::ScopedAParcel p = newParcel();
    ASSERT_EQ(AParcel_writeString(p.get(), "hello world", 5), STATUS_OK);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    std::optional<std::string> got;
    EXPECT_EQ(ndk::AParcel_readData(p.get(), &got), STATUS_OK);
    EXPECT_EQ(got, std::optional<std::string>("hello"));
}

TEST(ParcelTest, AppendFromCopiesARangeAndRejectsOneOutOfBounds) {
    ndk::ScopedAParcel from = newParcel();
    for (int32_t v : {10, 20, 30}) ASSERT_EQ(AParcel_writeInt32(from.get(), v), STATUS_OK);
    ndk::ScopedAParcel to = newParcel();
    ASSERT_EQ(AParcel_writeInt32(to.get(), 1), STATUS_OK);
    ASSERT_EQ(AParcel_appendFrom(from.get(), to.get(), 4, 8), STATUS_OK);
    EXPECT_EQ(AParcel_getDataSize(to.get()), 12);
    ASSERT_EQ(AParcel_setDataPosition(to.get(), 0), STATUS_OK);
    std::vector<int32_t> got(3);
    for (auto& v : got) EXPECT_EQ(AParcel_readInt32(to.get(), &v), STATUS_OK);
    EXPECT_EQ(got, (std::vector<int32_t>{1, 20, 30}));

    EXPECT_NE(AParcel_appendFrom(from.get(), to.get(), 8, 8), STATUS_OK);
    EXPECT_NE(AParcel_appendFrom(from.get(), to.get(), -4, 4), STATUS_OK);
    EXPECT_EQ(AParcel_getDataSize(to.get()), 12) << "a rejected append must not change the parcel";

    ASSERT_EQ(AParcel_reset(to.get()), STATUS_OK);
    EXPECT_EQ(AParcel_getDataSize(to.get()), 0);
    EXPECT_NE(AParcel_readInt32(to.get(), &got[0]), STATUS_OK);
}

// --- Corrupt and short data -----------------------------------------------------------------

// Each is a length word followed by less data than it announces (or an impossible length).
TEST(ParcelTest, CorruptLengthsFailCleanly) {
    struct Case {
        const char* name;
        std::vector<int32_t> words;
        bool stringMayReadAsNull;  // a negative string length is "null" in some readers
    };
    const Case cases[] = {
            {"negative", {-5, 1, 2}, true},
            {"longerThanData", {10, 1, 2}, false},
            {"hugeLength", {std::numeric_limits<int32_t>::max(), 1}, false},
            {"lengthOnly", {3}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ndk::ScopedAParcel p = newParcel();
        for (int32_t w : c.words) ASSERT_EQ(AParcel_writeInt32(p.get(), w), STATUS_OK);
        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        std::optional<std::vector<int32_t>> ints;
        EXPECT_NE(ndk::AParcel_readData(p.get(), &ints), STATUS_OK);
        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        std::optional<std::string> text("unchanged");
        const binder_status_t st = ndk::AParcel_readData(p.get(), &text);
        if (c.stringMayReadAsNull && st == STATUS_OK) {
            EXPECT_FALSE(text.has_value());
        } else {
            EXPECT_NE(st, STATUS_OK);
        }
    }
}

// Every proper prefix of a valid parcelable must be rejected; ASan catches reads beyond the data.
TEST(ParcelableTest, EveryTruncationIsRejected) {
    jorv::JorvRequestParcel sent;
    sent.dataList = {record(1, -1), record(2, 2)};
    sent.dataList[0].value = "v";
    sent.dataList[1].path = "/sys/class/x";
    sent.paths = std::vector<std::optional<std::string>>{std::string("a"), std::nullopt};
    sent.text1 = "t";
    sent.numbers = std::vector<int32_t>{1, 2, 3};
    ndk::ScopedAParcel full = newParcel();
    ASSERT_EQ(sent.writeToParcel(full.get()), STATUS_OK);
    const int32_t size = AParcel_getDataSize(full.get());
    ASSERT_GT(size, 0);
    for (int32_t cut = 0; cut < size; cut += 4) {
        SCOPED_TRACE("first " + std::to_string(cut) + " of " + std::to_string(size) + " bytes");
        ndk::ScopedAParcel part = newParcel();
        ASSERT_EQ(AParcel_appendFrom(full.get(), part.get(), 0, cut), STATUS_OK);
        ASSERT_EQ(AParcel_setDataPosition(part.get(), 0), STATUS_OK);
        jorv::JorvRequestParcel got;
        EXPECT_NE(got.readFromParcel(part.get()), STATUS_OK);
    }
}

// --- Binders and descriptors ----------------------------------------------------------------

// A local object read from a local parcel is the object itself; an int is not a binder; file
// descriptors cannot be written at all.
TEST(ParcelTest, BindersAndDescriptors) {
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    ndk::SpAIBinder local = cb->asBinder();
    ndk::ScopedAParcel p = newParcel();
    ASSERT_EQ(AParcel_writeStrongBinder(p.get(), local.get()), STATUS_OK);
    ASSERT_EQ(AParcel_writeStrongBinder(p.get(), nullptr), STATUS_OK);
    ASSERT_EQ(AParcel_writeInt32(p.get(), 12345), STATUS_OK);
    ASSERT_EQ(AParcel_writeInt32(p.get(), 678), STATUS_OK);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);

    AIBinder* first = nullptr;
    ASSERT_EQ(AParcel_readStrongBinder(p.get(), &first), STATUS_OK);
    ndk::SpAIBinder firstHeld(first);
    EXPECT_EQ(first, local.get());
    AIBinder* second = reinterpret_cast<AIBinder*>(0x1);
    ASSERT_EQ(AParcel_readStrongBinder(p.get(), &second), STATUS_OK);
    EXPECT_EQ(second, nullptr);
    AIBinder* notABinder = nullptr;
    EXPECT_NE(AParcel_readStrongBinder(p.get(), &notABinder), STATUS_OK);
    if (notABinder != nullptr) AIBinder_decStrong(notABinder);

    EXPECT_EQ(AParcel_writeParcelFileDescriptor(p.get(), 0), STATUS_FDS_NOT_ALLOWED);
}

}  // namespace
}  // namespace hbtest
