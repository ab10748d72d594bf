#pragma once

#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "JorvClientCallback.h"

namespace qartest {

// Caller callbacks that remember what they were given and on which thread.
class RecordingCallback : public jorvHalclient::IClientCallback {
public:
    void onCallback(std::list<QarClient::Resource> resources) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mCalls.push_back(std::move(resources));
        mThreads.push_back(std::this_thread::get_id());
    }
    std::vector<std::list<QarClient::Resource>> calls() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls;
    }
    std::vector<std::thread::id> threads() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mThreads;
    }

private:
    mutable std::mutex mMutex;
    std::vector<std::list<QarClient::Resource>> mCalls;
    std::vector<std::thread::id> mThreads;
};

class RecordingPathCallback : public jorvHalclient::IClientCallbackByPath {
public:
    struct Received {
        std::vector<std::string> values;
        std::vector<std::string> paths;
    };
    void onCallback(std::vector<std::string> values, std::vector<std::string> paths) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mCalls.push_back({std::move(values), std::move(paths)});
    }
    std::vector<Received> calls() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls;
    }

private:
    mutable std::mutex mMutex;
    std::vector<Received> mCalls;
};

}  // namespace qartest
