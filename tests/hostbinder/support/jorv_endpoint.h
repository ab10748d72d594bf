// Fixtures giving each test an IJorv proxy to an EchoJorv served either by this process or by a
// child process, so the same checks run over both paths through the runtime.
#pragma once

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

#include "support/echo_jorv.h"
#include "support/test_env.h"

namespace hbtest {

enum class Where { kInProcess, kChildProcess };

inline std::string whereName(const ::testing::TestParamInfo<Where>& info) {
    return info.param == Where::kInProcess ? "InProcess" : "ChildProcess";
}

class JorvTest : public HostBinderTest {
protected:
    // In this process `service` is served (a plain EchoJorv when none is given); a child process
    // always serves its own EchoJorv.
    void serveFrom(Where where, std::shared_ptr<EchoJorv> service = nullptr) {
        if (where == Where::kInProcess) {
            local_service_ =
                    service != nullptr ? std::move(service) : ndk::SharedRefBase::make<EchoJorv>();
            ASSERT_TRUE(publish(local_service_->asBinder(), instance_));
            service_pid_ = getpid();
        } else {
            child_ = std::make_unique<ChildService>(instance_, dir());
            ASSERT_TRUE(child_->start());
            service_pid_ = child_->pid();
        }
        binder_ = ndk::SpAIBinder(AServiceManager_checkService(instance_.c_str()));
        ASSERT_NE(binder_.get(), nullptr);
        jorv_ = jorv::IJorv::fromBinder(binder_);
        ASSERT_NE(jorv_, nullptr);
    }

    const std::string instance_ = jorvInstance();
    std::shared_ptr<EchoJorv> local_service_;  // set when served in-process
    std::unique_ptr<ChildService> child_;      // set when served by a child
    pid_t service_pid_ = -1;
    ndk::SpAIBinder binder_;
    std::shared_ptr<jorv::IJorv> jorv_;
};

class JorvEndpointTest : public JorvTest, public ::testing::WithParamInterface<Where> {
protected:
    void SetUp() override { serveFrom(GetParam()); }
};

class ChildJorvTest : public JorvTest {
protected:
    void SetUp() override { serveFrom(Where::kChildProcess); }
};

}  // namespace hbtest
