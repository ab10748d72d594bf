// The shared library exports its public API and nothing else: callers link against these exact
// names, and internals must stay free to change.

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

namespace {

std::set<std::string> exportedSymbols(const std::string& library) {
    std::set<std::string> symbols;
    const std::string command = "nm -D --defined-only -C --format=posix '" + library + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return symbols;
    char line[4096];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        std::string entry(line);
        // posix format: "<name> <type> <value> [<size>]"; names may contain blanks when demangled,
        // so cut at the type letter that follows the last ") " or the first blank.
        const size_t paren = entry.rfind(") ");
        const size_t cut = paren != std::string::npos ? paren + 1 : entry.find(' ');
        symbols.insert(entry.substr(0, cut));
    }
    pclose(pipe);
    return symbols;
}

TEST(ExportedSymbolsTest, OnlyThePublicApi) {
    const std::set<std::string> expected = {
            "checkResourceList(std::__cxx11::list<QarClient::Resource, "
            "std::allocator<QarClient::Resource> >&)",
            "jorvHalclient::jorv_init()",
            "jorvHalclient::jorvResCtlRequest(int, int, std::__cxx11::list<QarClient::Resource, "
            "std::allocator<QarClient::Resource> >&, int, int, int)",
            "jorvHalclient::jorvResCtlRequest(int, std::__cxx11::list<QarClient::Resource, "
            "std::allocator<QarClient::Resource> >&, int)",
            "jorvHalclient::jorvResCtlRequest(int, std::__cxx11::list<QarClient::Resource, "
            "std::allocator<QarClient::Resource> >&, int, int)",
            "jorvHalclient::jorvResCtlRequest(int, std::__cxx11::list<QarClient::Resource, "
            "std::allocator<QarClient::Resource> >&, int, int, int)",
            "jorvHalclient::jorvResCtlRequest(int, int, std::__cxx11::list<QarClient::Resource, "
            "std::allocator<QarClient::Resource> >&, int)",
            "jorvHalclient::jorvResCtlRequest(int, int, std::__cxx11::list<QarClient::Resource, "
            "std::allocator<QarClient::Resource> >&, int, int)",
            "jorvHalclient::jorvSACtlRequest(int, int, int, int, int, int)",
            "jorvHalclient::jorvSACtlRequest(int, int, int)",
            "jorvHalclient::jorvResCtlRelease(int)",
            "jorvHalclient::jorvSACtlRelease(int)",
            // The event API: C linkage, except for the handle maker.
            "qarInit",
            "QarEventAcquire",
            "QarEventAcquireOneWay",
            "QarResAcquire",
            "QarPlatformResAcquire",
            "QarRelease",
            "QarNotify",
            "setRelatedSysInfo",
            "qarRuleCtl",
            "QarMutiResStateRequest",
            "QarResStateRequest",
            "QarGetHistory",
            "QarGetPowerConsis",
            "QarGetPMStatus",
            "Qar_fetch_dataset",
            "QarGetFeatureStatus",
            "qarGetRandomHandle()",
    };
    EXPECT_EQ(exportedSymbols(QAR_CLIENT_LIBRARY_PATH), expected);
}

}  // namespace
