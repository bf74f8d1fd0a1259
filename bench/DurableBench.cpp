// Keeping pixels in a file: one more among many that wait, and a pass that records each delivery.
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Loopback.h"
#include "PixelPass.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

namespace {

// Added in a row, so that each measurement has its share of the write-ahead log's writing back, and then
// taken away again at once.
constexpr int batch = 128;

const VKTURL& pixelURL() {
    static const VKTURL url = *VKTURL::URLWithString("http://127.0.0.1/pixel?event=start&id=0123456789");
    return url;
}

// Removed in the end.
struct Folder {
    Folder() { std::filesystem::create_directory(path); }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("vkt-bench-" + std::to_string(getpid()));
};

std::string fileNamed(const std::string& name) {
    static const Folder folder;
    return folder.path / name;
}

std::shared_ptr<VKTPixelManager> durableManager(const std::string& file) {
    const auto store = VKTPlatform::current().makeKeyValueStore(
        file, [](const std::string& problem) { std::fprintf(stderr, "%s\n", problem.c_str()); });
    return VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(VKTPersistentPixelStoreProvider::initWithKeyValueStore(store)),
        VKTURLSession::sharedInstance());
}

double secondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Bytes that this process has handed to the system to be written.
std::size_t bytesWritten() {
    std::ifstream file("/proc/self/io");
    std::string name;
    std::size_t value = 0;
    while (file >> name >> value) {
        if (name == "wchar:") return value;
    }
    fail("/proc/self/io does not say what was written");
}

// So many pixels that wait; a batch more comes and goes.
class Durable {
  public:
    explicit Durable(int pending) : manager_(durableManager(fileNamed("ours-" + std::to_string(pending)))) {
        VKTPixels pixels;
        for (int i = 0; i < pending; ++i)
            pixels.push_back(VKTPixel::initWithUrl(pixelURL()));
        manager_->addPixels(pixels);
        tellOfBytes(pending);
    }

    // Seconds for adding a batch.
    double add() {
        VKTPixels pixels;
        for (int i = 0; i < batch; ++i)
            pixels.push_back(VKTPixel::initWithUrl(pixelURL()));
        const auto begin = std::chrono::steady_clock::now();
        for (const auto& pixel : pixels)
            manager_->addPixel(pixel);
        const double seconds = secondsSince(begin);
        for (const auto& pixel : pixels)
            manager_->pixelStore()->deletePixel(*pixel);
        manager_->pixelStore()->saveToDisk();
        return seconds;
    }

  private:
    void tellOfBytes(int pending) {
        constexpr int adds = 1000;
        const std::size_t before = bytesWritten();
        for (int i = 0; i < adds; ++i)
            manager_->addPixel(VKTPixel::initWithUrl(pixelURL()));
        std::fprintf(stderr, "durable_add among %d: %zu bytes written an add\n", pending,
                     (bytesWritten() - before) / adds);
    }

    const std::shared_ptr<VKTPixelManager> manager_;
};

// The same with SQLite alone: as many rows of the same size, and the same settings.
class BareSQLite {
  public:
    explicit BareSQLite(int pending) {
        sqlite3_open(fileNamed("limit-" + std::to_string(pending)).c_str(), &database_);
        run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA secure_delete = OFF;"
            "PRAGMA wal_autocheckpoint = 64; PRAGMA journal_size_limit = 270336;"
            "CREATE TABLE rows (number INTEGER PRIMARY KEY, record BLOB NOT NULL)");
        sqlite3_prepare_v2(database_, "INSERT INTO rows (record) VALUES (?1)", -1, &insert_, nullptr);
        sqlite3_bind_blob64(insert_, 1, record_.data(), record_.size(), SQLITE_STATIC);
        run("BEGIN");
        for (int i = 0; i < pending + 1000; ++i)
            insert();
        run("COMMIT");
    }
    ~BareSQLite() {
        sqlite3_finalize(insert_);
        sqlite3_close(database_);
    }
    BareSQLite(const BareSQLite&) = delete;
    BareSQLite& operator=(const BareSQLite&) = delete;

    double add() {
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < batch; ++i)
            insert();
        const double seconds = secondsSince(begin);
        run(("DELETE FROM rows WHERE number > last_insert_rowid() - " + std::to_string(batch)).c_str());
        return seconds;
    }

  private:
    void run(const char* sql) {
        if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            fail(sqlite3_errmsg(database_));
    }
    void insert() {
        if (sqlite3_step(insert_) != SQLITE_DONE) fail(sqlite3_errmsg(database_));
        sqlite3_reset(insert_);
    }

    const std::string record_ = vkt_archivedData(*VKTPixel::initWithUrl(pixelURL()));
    sqlite3* database_ = nullptr;
    sqlite3_stmt* insert_ = nullptr;
};

void addDurablePair(const std::string& name, int pending) {
    // Made with the first use: not every run of the benchmarks asks for them.
    auto ours = std::make_shared<std::unique_ptr<Durable>>();
    auto limit = std::make_shared<std::unique_ptr<BareSQLite>>();
    addTimedPair(
        name,
        [ours, pending] {
            if (!*ours) *ours = std::make_unique<Durable>(pending);
            return (*ours)->add();
        },
        [limit, pending] {
            if (!*limit) *limit = std::make_unique<BareSQLite>(pending);
            return (*limit)->add();
        });
}

}  // namespace

void addDurableBenchmarks() {
    addDurablePair("durable_add_10", 10);
    addDurablePair("durable_add_10k", 10'000);
    addDurablePair("durable_add_100k", 100'000);

    static Server server;
    server.serve("/pixel", std::string(43, 'x'), "image/gif");
    const VKTURL url = *VKTURL::URLWithString(server.url("/pixel"));
    static std::shared_ptr<VKTPixelManager> durable;
    static const auto inMemory = VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()),
        VKTURLSession::sharedInstance());
    // Not a limit: the same pass without a file.
    addPair(
        "durable_pass_1000",
        [url] {
            if (!durable) durable = durableManager(fileNamed("pass"));
            passOver(*durable, url);
        },
        [url] { passOver(*inMemory, url); });
}
