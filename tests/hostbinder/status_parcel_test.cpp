// AStatus and AParcel without any transport: value semantics, wire round trips, and reads of
// short or corrupt data failing cleanly (ASan turns an out-of-bounds read into a failure).
#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>
#include <android/binder_status.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "support/echo_jorv.h"
#include "support/recording_callback.h"

namespace hbtest {
namespace {

struct ParcelDeleter {
    void operator()(AParcel* p) const { AParcel_delete(p); }
};
using Parcel = std::unique_ptr<AParcel, ParcelDeleter>;
Parcel newParcel() {
    return Parcel(AParcel_create());
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

TEST_P(StatusTest, GettersMatchConstructor) {
    const StatusCase& c = GetParam();
    ndk::ScopedAStatus s(c.make());
    ASSERT_NE(s.get(), nullptr);
    EXPECT_EQ(AStatus_isOk(s.get()), c.ok);
    EXPECT_EQ(AStatus_getExceptionCode(s.get()), c.exception);
    EXPECT_EQ(AStatus_getServiceSpecificError(s.get()), c.serviceSpecific);
    EXPECT_EQ(AStatus_getStatus(s.get()), c.status);
    ASSERT_NE(AStatus_getMessage(s.get()), nullptr);
    EXPECT_STREQ(AStatus_getMessage(s.get()), c.message);
}

TEST_P(StatusTest, DescriptionNamesTheFailure) {
    const StatusCase& c = GetParam();
    ndk::ScopedAStatus s(c.make());
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
}

// What a reply carries: everything but a transport failure survives the status header.
TEST_P(StatusTest, StatusHeaderRoundTrip) {
    const StatusCase& c = GetParam();
    ndk::ScopedAStatus s(c.make());
    Parcel p = newParcel();
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

TEST(StatusScopedTest, FactoriesMatchTheCApi) {
    EXPECT_TRUE(ndk::ScopedAStatus::ok().isOk());
    auto ss = ndk::ScopedAStatus::fromServiceSpecificError(5);
    EXPECT_EQ(ss.getExceptionCode(), EX_SERVICE_SPECIFIC);
    EXPECT_EQ(ss.getServiceSpecificError(), 5);
    auto ex = ndk::ScopedAStatus::fromExceptionCode(EX_UNSUPPORTED_OPERATION);
    EXPECT_EQ(ex.getExceptionCode(), EX_UNSUPPORTED_OPERATION);
    auto st = ndk::ScopedAStatus::fromStatus(STATUS_TIMED_OUT);
    EXPECT_EQ(st.getExceptionCode(), EX_TRANSACTION_FAILED);
    EXPECT_EQ(st.getStatus(), STATUS_TIMED_OUT);
    AStatus_delete(nullptr);  // documented as accepted
}

// --- Scalars --------------------------------------------------------------------------------

template <typename T>
bool sameValue(T a, T b) {
    if constexpr (std::is_floating_point_v<T>) {
        return std::memcmp(&a, &b, sizeof(T)) == 0;  // keeps -0.0 and NaN payloads honest
    } else {
        return a == b;
    }
}

// Writes each value alone, checks the 32-bit aligned size, reads it back, then reads once more
// past the end, which must fail without touching the output.
template <typename T>
void checkScalar(const char* what, binder_status_t (*write)(AParcel*, T),
                 binder_status_t (*read)(const AParcel*, T*), std::vector<T> values,
                 int32_t width) {
    SCOPED_TRACE(what);
    for (T v : values) {
        Parcel p = newParcel();
        ASSERT_EQ(write(p.get(), v), STATUS_OK);
        EXPECT_EQ(AParcel_getDataSize(p.get()), width);
        EXPECT_EQ(AParcel_getDataPosition(p.get()), width);
        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        T got{};
        ASSERT_EQ(read(p.get(), &got), STATUS_OK);
        EXPECT_TRUE(sameValue(got, v));
        T past = v;
        EXPECT_NE(read(p.get(), &past), STATUS_OK) << "read past the end";
        EXPECT_TRUE(sameValue(past, v)) << "failed read changed its output";
    }
}

TEST(ParcelTest, ScalarsRoundTripWithAlignedSizes) {
    using I32 = std::numeric_limits<int32_t>;
    using I64 = std::numeric_limits<int64_t>;
    checkScalar<int32_t>("int32", AParcel_writeInt32, AParcel_readInt32,
                         {0, -1, I32::min(), I32::max()}, 4);
    checkScalar<uint32_t>("uint32", AParcel_writeUint32, AParcel_readUint32,
                          {0u, 0xffffffffu, 0x80000000u}, 4);
    checkScalar<int64_t>("int64", AParcel_writeInt64, AParcel_readInt64,
                         {0, -1, I64::min(), I64::max(), -4294967296LL}, 8);
    checkScalar<uint64_t>("uint64", AParcel_writeUint64, AParcel_readUint64,
                          {0u, ~0ull, 0x8000000000000000ull}, 8);
    checkScalar<float>("float", AParcel_writeFloat, AParcel_readFloat,
                       {0.0f, -0.0f, 1.5f, std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::denorm_min()},
                       4);
    checkScalar<double>("double", AParcel_writeDouble, AParcel_readDouble,
                        {0.0, -0.0, -1e300, std::numeric_limits<double>::quiet_NaN()}, 8);
    checkScalar<bool>("bool", AParcel_writeBool, AParcel_readBool, {true, false}, 4);
    checkScalar<char16_t>("char", AParcel_writeChar, AParcel_readChar,
                          {u'a', static_cast<char16_t>(0xffff), u'\0'}, 4);
    checkScalar<int8_t>("byte", AParcel_writeByte, AParcel_readByte, {0, -128, 127}, 4);
}

TEST(ParcelTest, MixedSequenceReadsBackInOrder) {
    Parcel p = newParcel();
    ASSERT_EQ(AParcel_writeByte(p.get(), -3), STATUS_OK);
    ASSERT_EQ(AParcel_writeInt64(p.get(), -1234567890123LL), STATUS_OK);
    ASSERT_EQ(AParcel_writeBool(p.get(), true), STATUS_OK);
    ASSERT_EQ(AParcel_writeDouble(p.get(), 2.25), STATUS_OK);
    ASSERT_EQ(AParcel_writeInt32(p.get(), 77), STATUS_OK);
    EXPECT_EQ(AParcel_getDataSize(p.get()), 4 + 8 + 4 + 8 + 4);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    int8_t b = 0;
    int64_t l = 0;
    bool z = false;
    double d = 0;
    int32_t i = 0;
    EXPECT_EQ(AParcel_readByte(p.get(), &b), STATUS_OK);
    EXPECT_EQ(AParcel_readInt64(p.get(), &l), STATUS_OK);
    EXPECT_EQ(AParcel_readBool(p.get(), &z), STATUS_OK);
    EXPECT_EQ(AParcel_readDouble(p.get(), &d), STATUS_OK);
    EXPECT_EQ(AParcel_readInt32(p.get(), &i), STATUS_OK);
    EXPECT_EQ(b, -3);
    EXPECT_EQ(l, -1234567890123LL);
    EXPECT_TRUE(z);
    EXPECT_EQ(d, 2.25);
    EXPECT_EQ(i, 77);

    ASSERT_EQ(AParcel_reset(p.get()), STATUS_OK);
    EXPECT_EQ(AParcel_getDataSize(p.get()), 0);
    EXPECT_NE(AParcel_readInt32(p.get(), &i), STATUS_OK);
}

TEST(ParcelTest, AppendFromCopiesARangeAndRejectsOneOutOfBounds) {
    Parcel from = newParcel();
    for (int32_t v : {10, 20, 30}) ASSERT_EQ(AParcel_writeInt32(from.get(), v), STATUS_OK);
    Parcel to = newParcel();
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
}

// --- Arrays and strings ---------------------------------------------------------------------

template <typename T>
bool vectorAllocator(void* data, int32_t length, T** buffer) {
    auto* out = static_cast<std::optional<std::vector<T>>*>(data);
    if (length < 0) {
        out->reset();
        *buffer = nullptr;
        return true;
    }
    out->emplace(static_cast<size_t>(length));
    *buffer = (*out)->data();
    return true;
}

template <typename T>
void checkArray(const char* what, binder_status_t (*write)(AParcel*, const T*, int32_t),
                binder_status_t (*read)(const AParcel*, void*, bool (*)(void*, int32_t, T**)),
                std::vector<T> values) {
    SCOPED_TRACE(what);
    const std::vector<std::optional<std::vector<T>>> cases = {std::nullopt, std::vector<T>{},
                                                              values};
    for (const auto& c : cases) {
        Parcel p = newParcel();
        ASSERT_EQ(write(p.get(), c ? c->data() : nullptr, c ? static_cast<int32_t>(c->size()) : -1),
                  STATUS_OK);
        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        std::optional<std::vector<T>> got = std::vector<T>{static_cast<T>(1)};
        ASSERT_EQ(read(p.get(), &got, vectorAllocator<T>), STATUS_OK);
        ASSERT_EQ(got.has_value(), c.has_value());
        if (c) {
            ASSERT_EQ(got->size(), c->size());
            for (size_t i = 0; i < c->size(); ++i) EXPECT_TRUE(sameValue((*got)[i], (*c)[i])) << i;
        }
        EXPECT_EQ(AParcel_getDataPosition(p.get()), AParcel_getDataSize(p.get()));
    }
}

TEST(ParcelTest, ScalarArraysKeepNullEmptyAndValues) {
    checkArray<int32_t>("int32", AParcel_writeInt32Array, AParcel_readInt32Array,
                        {1, -2, std::numeric_limits<int32_t>::min()});
    checkArray<uint32_t>("uint32", AParcel_writeUint32Array, AParcel_readUint32Array,
                         {0u, 0xffffffffu});
    checkArray<int64_t>("int64", AParcel_writeInt64Array, AParcel_readInt64Array,
                        {std::numeric_limits<int64_t>::min(), -1, 5});
    checkArray<uint64_t>("uint64", AParcel_writeUint64Array, AParcel_readUint64Array, {~0ull, 3});
    checkArray<float>("float", AParcel_writeFloatArray, AParcel_readFloatArray, {-0.0f, 3.5f});
    checkArray<double>("double", AParcel_writeDoubleArray, AParcel_readDoubleArray, {1e-300, -2});
    // Odd element counts of sub-word types exercise the padding after the data.
    checkArray<char16_t>("char", AParcel_writeCharArray, AParcel_readCharArray,
                         {u'x', static_cast<char16_t>(0xd800), u'z'});
    checkArray<int8_t>("byte", AParcel_writeByteArray, AParcel_readByteArray, {-1, 0, 127, 5, 9});
}

TEST(ParcelTest, SubWordArraysKeepFollowingValuesAligned) {
    Parcel p = newParcel();
    const int8_t bytes[] = {1, 2, 3};
    ASSERT_EQ(AParcel_writeByteArray(p.get(), bytes, 3), STATUS_OK);
    ASSERT_EQ(AParcel_writeInt32(p.get(), 0x5a5a5a5a), STATUS_OK);
    EXPECT_EQ(AParcel_getDataSize(p.get()) % 4, 0);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    std::optional<std::vector<int8_t>> got;
    ASSERT_EQ(AParcel_readByteArray(p.get(), &got, vectorAllocator<int8_t>), STATUS_OK);
    int32_t after = 0;
    ASSERT_EQ(AParcel_readInt32(p.get(), &after), STATUS_OK);
    EXPECT_EQ(after, 0x5a5a5a5a);
}

struct BoolArray {
    std::optional<std::vector<bool>> value;
};

TEST(ParcelTest, BoolArraysRoundTrip) {
    const std::vector<std::optional<std::vector<bool>>> cases = {
            std::nullopt, std::vector<bool>{}, std::vector<bool>{true, false, true, true}};
    for (const auto& c : cases) {
        Parcel p = newParcel();
        ASSERT_EQ(AParcel_writeBoolArray(
                          p.get(), c ? &*c : nullptr, c ? static_cast<int32_t>(c->size()) : -1,
                          [](const void* data, size_t i) {
                              return (*static_cast<const std::vector<bool>*>(data))[i];
                          }),
                  STATUS_OK);
        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        BoolArray got;
        got.value = std::vector<bool>{false};
        ASSERT_EQ(AParcel_readBoolArray(
                          p.get(), &got,
                          [](void* data, int32_t length) {
                              auto* out = static_cast<BoolArray*>(data);
                              if (length < 0) {
                                  out->value.reset();
                              } else {
                                  out->value.emplace(static_cast<size_t>(length));
                              }
                              return true;
                          },
                          [](void* data, size_t i, bool v) {
                              (*static_cast<BoolArray*>(data)->value)[i] = v;
                          }),
                  STATUS_OK);
        EXPECT_EQ(got.value, c);
    }
}

// A string read into a zeroed buffer with room for a terminator whichever way the runtime counts
// the length it passes to the allocator.
struct StringSlot {
    bool isNull = true;
    std::vector<char> buffer;
    int32_t allocatedFor = -2;
    std::optional<std::string> value() const {
        if (isNull) return std::nullopt;
        return std::string(buffer.data(), strnlen(buffer.data(), buffer.size()));
    }
};

bool stringSlotAllocator(void* data, int32_t length, char** buffer) {
    auto* slot = static_cast<StringSlot*>(data);
    slot->allocatedFor = length;
    if (length < 0) {
        slot->isNull = true;
        *buffer = nullptr;
        return true;
    }
    slot->isNull = false;
    slot->buffer.assign(static_cast<size_t>(length) + 1, '\0');
    *buffer = slot->buffer.data();
    return true;
}

std::optional<std::string> readString(const AParcel* p, binder_status_t* status) {
    StringSlot slot;
    *status = AParcel_readString(p, &slot, stringSlotAllocator);
    return slot.value();
}

TEST(ParcelTest, StringsRoundTripNullEmptyUtf8AndLong) {
    const std::vector<std::optional<std::string>> cases = {
            std::nullopt,
            std::string(),
            std::string("a"),
            std::string("abc"),
            std::string("abcd"),
            std::string("gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80"),
            std::string(100000, 'q')};
    for (const auto& c : cases) {
        SCOPED_TRACE(c ? std::to_string(c->size()) + " bytes" : std::string("null"));
        Parcel p = newParcel();
        ASSERT_EQ(AParcel_writeString(p.get(), c ? c->c_str() : nullptr,
                                      c ? static_cast<int32_t>(c->size()) : -1),
                  STATUS_OK);
        ASSERT_EQ(AParcel_writeInt32(p.get(), 0x600d), STATUS_OK);  // sentinel after the string
        EXPECT_EQ(AParcel_getDataSize(p.get()) % 4, 0);
        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        binder_status_t st = STATUS_UNKNOWN_ERROR;
        EXPECT_EQ(readString(p.get(), &st), c);
        EXPECT_EQ(st, STATUS_OK);
        int32_t sentinel = 0;
        EXPECT_EQ(AParcel_readInt32(p.get(), &sentinel), STATUS_OK);
        EXPECT_EQ(sentinel, 0x600d);
    }
}

TEST(ParcelTest, WriteStringHonoursTheGivenLength) {
    Parcel p = newParcel();
    ASSERT_EQ(AParcel_writeString(p.get(), "hello world", 5), STATUS_OK);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    binder_status_t st = STATUS_UNKNOWN_ERROR;
    EXPECT_EQ(readString(p.get(), &st), std::optional<std::string>("hello"));
    EXPECT_EQ(st, STATUS_OK);
}

using StringList = std::optional<std::vector<std::optional<std::string>>>;

struct StringListSlot {
    bool isNull = true;
    std::vector<StringSlot> items;
    StringList value() const {
        if (isNull) return std::nullopt;
        std::vector<std::optional<std::string>> out;
        for (const auto& s : items) out.push_back(s.value());
        return out;
    }
};

TEST(ParcelTest, StringArraysKeepNullElements) {
    const std::vector<StringList> cases = {
            std::nullopt, std::vector<std::optional<std::string>>{},
            std::vector<std::optional<std::string>>{std::string("x"), std::nullopt, std::string(),
                                                    std::string("longer value")}};
    for (const auto& c : cases) {
        Parcel p = newParcel();
        ASSERT_EQ(AParcel_writeStringArray(
                          p.get(), c ? &*c : nullptr, c ? static_cast<int32_t>(c->size()) : -1,
                          [](const void* data, size_t i, int32_t* len) -> const char* {
                              const auto& item =
                                      (*static_cast<const std::vector<std::optional<std::string>>*>(
                                              data))[i];
                              *len = item ? static_cast<int32_t>(item->size()) : -1;
                              return item ? item->c_str() : nullptr;
                          }),
                  STATUS_OK);
        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        StringListSlot slot;
        ASSERT_EQ(AParcel_readStringArray(
                          p.get(), &slot,
                          [](void* data, int32_t length) {
                              auto* s = static_cast<StringListSlot*>(data);
                              s->isNull = length < 0;
                              s->items.assign(length < 0 ? 0 : static_cast<size_t>(length), {});
                              return true;
                          },
                          [](void* data, size_t i, int32_t length, char** buffer) {
                              auto* s = static_cast<StringListSlot*>(data);
                              return stringSlotAllocator(&s->items.at(i), length, buffer);
                          }),
                  STATUS_OK);
        EXPECT_EQ(slot.value(), c);
    }
}

// --- Corrupt and short data -----------------------------------------------------------------

TEST(ParcelTest, CorruptLengthsFailCleanly) {
    struct Case {
        const char* name;
        std::vector<int32_t> words;
        bool stringMayReadAsNull;  // a negative string length is "null" in some readers
    };
    // Each is a length word followed by less data than it announces (or an impossible length).
    const Case cases[] = {
            {"negative", {-5, 1, 2}, true},
            {"longerThanData", {10, 1, 2}, false},
            {"hugeLength", {std::numeric_limits<int32_t>::max(), 1}, false},
            {"lengthOnly", {3}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel p = newParcel();
        for (int32_t w : c.words) ASSERT_EQ(AParcel_writeInt32(p.get(), w), STATUS_OK);

        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        std::optional<std::vector<int32_t>> ints;
        EXPECT_NE(AParcel_readInt32Array(p.get(), &ints,
                                         [](void* data, int32_t length, int32_t** buffer) {
                                             // Refuse absurd sizes instead of allocating them.
                                             if (length > (1 << 20)) return false;
                                             return vectorAllocator<int32_t>(data, length, buffer);
                                         }),
                  STATUS_OK);

        ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
        StringSlot slot;
        const binder_status_t st =
                AParcel_readString(p.get(), &slot, [](void* data, int32_t length, char** buffer) {
                    if (length > (1 << 20)) return false;
                    return stringSlotAllocator(data, length, buffer);
                });
        if (c.stringMayReadAsNull && st == STATUS_OK) {
            EXPECT_FALSE(slot.value().has_value());
        } else {
            EXPECT_NE(st, STATUS_OK);
        }
    }
}

jorv::JorvRequestParcel richParcel() {
    jorv::JorvRequestParcel p;
    p.requestType = 7;
    p.dataList = {record(1, -1), record(2, 2)};
    p.dataList[0].value = "v";
    p.dataList[1].path = "/sys/class/x";
    p.dataList[1].extra = "";
    p.flag = true;
    p.param3 = -3;
    p.param5 = 5;
    p.param1 = std::numeric_limits<int64_t>::min();
    p.paths = std::vector<std::optional<std::string>>{std::string("a"), std::nullopt};
    p.param0 = 123;
    p.text1 = "t";
    p.text2 = std::nullopt;
    p.numbers = std::vector<int32_t>{1, 2, 3};
    return p;
}

TEST(ParcelableTest, LocalRoundTripKeepsEveryFieldAndTheLocalCallback) {
    jorv::JorvRequestParcel sent = richParcel();
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    sent.callback = cb;
    Parcel p = newParcel();
    ASSERT_EQ(sent.writeToParcel(p.get()), STATUS_OK);
    const int32_t size = AParcel_getDataSize(p.get());
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    jorv::JorvRequestParcel got;
    ASSERT_EQ(got.readFromParcel(p.get()), STATUS_OK);
    EXPECT_EQ(render(got), render(sent));
    EXPECT_EQ(AParcel_getDataPosition(p.get()), size);
    ASSERT_NE(got.callback, nullptr);
    EXPECT_EQ(got.callback->asBinder().get(), cb->asBinder().get())
            << "a local object read from a local parcel is the object itself";
}

// Every proper prefix of a valid parcelable must be rejected; ASan catches reads beyond the data.
TEST(ParcelableTest, EveryTruncationIsRejected) {
    jorv::JorvRequestParcel sent = richParcel();
    Parcel full = newParcel();
    ASSERT_EQ(sent.writeToParcel(full.get()), STATUS_OK);
    const int32_t size = AParcel_getDataSize(full.get());
    ASSERT_GT(size, 0);
    for (int32_t cut = 0; cut < size; cut += 4) {
        SCOPED_TRACE("first " + std::to_string(cut) + " of " + std::to_string(size) + " bytes");
        Parcel part = newParcel();
        ASSERT_EQ(AParcel_appendFrom(full.get(), part.get(), 0, cut), STATUS_OK);
        ASSERT_EQ(AParcel_setDataPosition(part.get(), 0), STATUS_OK);
        jorv::JorvRequestParcel got;
        EXPECT_NE(got.readFromParcel(part.get()), STATUS_OK);
    }
}

// --- Binders and descriptors ----------------------------------------------------------------

TEST(ParcelTest, BindersInALocalParcel) {
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    ndk::SpAIBinder local = cb->asBinder();
    Parcel p = newParcel();
    ASSERT_EQ(AParcel_writeStrongBinder(p.get(), local.get()), STATUS_OK);
    ASSERT_EQ(AParcel_writeStrongBinder(p.get(), nullptr), STATUS_OK);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);

    AIBinder* first = nullptr;
    ASSERT_EQ(AParcel_readStrongBinder(p.get(), &first), STATUS_OK);
    ndk::SpAIBinder firstHeld(first);
    EXPECT_EQ(first, local.get());
    AIBinder* second = reinterpret_cast<AIBinder*>(0x1);
    ASSERT_EQ(AParcel_readStrongBinder(p.get(), &second), STATUS_OK);
    EXPECT_EQ(second, nullptr);
    AIBinder* past = nullptr;
    EXPECT_NE(AParcel_readStrongBinder(p.get(), &past), STATUS_OK);
    EXPECT_EQ(past, nullptr);
}

TEST(ParcelTest, FileDescriptorsAreRefused) {
    Parcel p = newParcel();
    EXPECT_EQ(AParcel_writeParcelFileDescriptor(p.get(), 0), STATUS_FDS_NOT_ALLOWED);
}

TEST(ParcelTest, AnIntIsNotABinder) {
    Parcel p = newParcel();
    ASSERT_EQ(AParcel_writeInt32(p.get(), 12345), STATUS_OK);
    ASSERT_EQ(AParcel_writeInt32(p.get(), 678), STATUS_OK);
    ASSERT_EQ(AParcel_setDataPosition(p.get(), 0), STATUS_OK);
    AIBinder* b = nullptr;
    EXPECT_NE(AParcel_readStrongBinder(p.get(), &b), STATUS_OK);
    if (b != nullptr) AIBinder_decStrong(b);
}

}  // namespace
}  // namespace hbtest
