// A key-value store's file in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTSQLiteKeyValueStore.h"

/// Made at construction and removed, with the store's file in it, in the end.
class VKTStoreFolder {
  public:
    VKTStoreFolder() { EXPECT_NE(mkdtemp(folder_.data()), nullptr); }
    ~VKTStoreFolder() { std::filesystem::remove_all(folder_); }
    VKTStoreFolder(const VKTStoreFolder&) = delete;
    VKTStoreFolder& operator=(const VKTStoreFolder&) = delete;

    [[nodiscard]] const std::string& folder() const { return folder_; }
    [[nodiscard]] std::string path() const { return folder_ + "/store"; }

    std::shared_ptr<VKTKeyValueStore> open() {
        return vkt_makeSQLiteKeyValueStore(path(), [this](const auto& text) { problems.push_back(text); });
    }

    std::vector<std::string> problems;  ///< that the stores opened here have told

  private:
    std::string folder_ = testing::TempDir() + "vkt-store-XXXXXX";
};

inline std::string vkt_contentOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
