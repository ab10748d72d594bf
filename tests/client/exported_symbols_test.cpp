// The shared library exports its public API and nothing else: callers link against these exact
// names, and internals must stay free to change. The expected list is exported_symbols.txt, one
// demangled symbol per line, sorted.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>

namespace {

std::set<std::string> exportedSymbols(const std::string& library) {
    std::set<std::string> symbols;
    const std::string command = "nm -D --defined-only -C --format=posix '" + library + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return symbols;
    char line[8192];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        // posix format: "<name> <type letter> <value> [<size>]"; demangled names contain blanks,
        // so the fields are taken off the end.
        std::string entry(line);
        while (!entry.empty() && isspace(static_cast<unsigned char>(entry.back())))
            entry.pop_back();
        for (int hexFields = 0; hexFields < 2; ++hexFields) {
            const size_t blank = entry.rfind(' ');
            if (blank == std::string::npos || blank + 2 == entry.size()) break;  // type letter
            entry.erase(blank);
        }
        const size_t typeBlank = entry.rfind(' ');
        if (typeBlank != std::string::npos && typeBlank + 2 == entry.size()) {
            symbols.insert(entry.substr(0, typeBlank));
        }
    }
    pclose(pipe);
    return symbols;
}

std::set<std::string> expectedSymbols() {
    std::set<std::string> symbols;
    std::ifstream file(QAR_EXPECTED_SYMBOLS_PATH);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty()) symbols.insert(line);
    }
    return symbols;
}

TEST(ExportedSymbolsTest, OnlyThePublicApi) {
    const std::set<std::string> expected = expectedSymbols();
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(exportedSymbols(QAR_CLIENT_LIBRARY_PATH), expected);
}

}  // namespace
