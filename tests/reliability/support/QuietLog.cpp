// Tens of thousands of calls log a few lines each: the reliability tests send the library's log
// to a logger that drops it (the lines are still formatted), so that the test output stays
// readable and the sanitizer builds are not slowed down by writing it.
#include <android/log.h>
#include <gtest/gtest.h>

namespace qarrel {
namespace {

void dropLine(const struct __android_logger_data* /*data*/, const char* /*message*/) {}

class QuietLog : public ::testing::Environment {
public:
    void SetUp() override { __android_log_set_logger(dropLine); }
    void TearDown() override { __android_log_set_logger(__android_log_stderr_logger); }
};

[[maybe_unused]] ::testing::Environment* const kQuietLog =
        ::testing::AddGlobalTestEnvironment(new QuietLog);

}  // namespace
}  // namespace qarrel
