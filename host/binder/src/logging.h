// Runtime diagnostics go through liblog under one tag.
#pragma once

#include <android/log.h>

#define HB_LOG(priority, ...) __android_log_print(priority, "hostbinder", __VA_ARGS__)
#define ALOGE(...) HB_LOG(ANDROID_LOG_ERROR, __VA_ARGS__)
#define ALOGW(...) HB_LOG(ANDROID_LOG_WARN, __VA_ARGS__)
