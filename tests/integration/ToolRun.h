// The vkt tool, run as a user runs it, and its JSON.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "tests/support/VKTTestPaths.h"

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

inline std::string takeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    std::remove(path.c_str());
    return text;
}

/// `input` is what the program finds on its standard input.
inline Outcome runProgram(const std::string& program, const std::string& arguments,
                          const std::string& input = "") {
    const std::string prefix = testing::TempDir() + "vkt-tool-" + std::to_string(getpid()) + "-";
    std::ofstream(prefix + "in", std::ios::binary) << input;
    const std::string command =
        program + " " + arguments + " <" + prefix + "in >" + prefix + "out 2>" + prefix + "err";
    const int status = std::system(command.c_str());
    takeFile(prefix + "in");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, takeFile(prefix + "out"), takeFile(prefix + "err")};
}

inline Outcome runTool(const std::string& arguments, const std::string& input = "") {
    return runProgram(VKTTestPaths::tool, arguments, input);
}

inline VKTDictionary parsed(const std::string& text) {
    const auto value = vkt_JSONValueWithData(text);
    const VKTDictionary* dictionary = value ? value->asDictionary() : nullptr;
    EXPECT_NE(dictionary, nullptr) << text;
    return dictionary == nullptr ? VKTDictionary() : *dictionary;
}

inline const VKTValue& valueOf(const VKTDictionary& report, const char* key) {
    static const VKTValue none("no such key");
    const VKTValue* value = report.find(key);
    return value == nullptr ? none : *value;
}

/// The value at a path of keys with "." between two, as text.
inline std::string textAt(const VKTDictionary& report, const std::string& path) {
    VKTValue value(report);
    for (const std::string_view key : vkt_split(path, '.')) {
        const VKTValue dictionary = std::exchange(value, VKTValue("no such key"));
        if (dictionary.asDictionary()) value = valueOf(*dictionary.asDictionary(), std::string(key).c_str());
    }
    return value.description();
}

inline std::vector<VKTDictionary> entriesOf(const VKTDictionary& report, const char* key) {
    std::vector<VKTDictionary> entries;
    const VKTArray* array = valueOf(report, key).asArray();
    EXPECT_NE(array, nullptr) << key;
    for (const VKTValue& element : array == nullptr ? VKTArray() : *array)
        entries.push_back(*element.asDictionary());
    return entries;
}

/// The texts at a key of each entry of a list, with a space between two.
inline std::string textsOf(const VKTDictionary& report, const char* listKey, const char* key) {
    std::vector<std::string> texts;
    for (const VKTDictionary& entry : entriesOf(report, listKey))
        texts.push_back(textAt(entry, key));
    return vkt_joined(texts, " ");
}

/// The keys of a dictionary, or of the first one in a list, with a space between two.
inline std::string keysOf(const VKTValue& value) {
    const VKTArray* list = value.asArray();
    const VKTValue& first = list != nullptr && !list->empty() ? list->front() : value;
    std::vector<std::string> keys;
    for (const auto& [key, content] : first.asDictionary() ? *first.asDictionary() : VKTDictionary())
        keys.push_back(key);
    return vkt_joined(keys, " ");
}
