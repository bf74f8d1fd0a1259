#include "server/DemoServer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <thread>

#include "tests/support/VKTStoreFolder.h"

namespace {

class DemoServerTest : public testing::Test {
  protected:
    // The status and what the body begins with; why there is no answer, otherwise.
    std::string answerTo(const std::string& path) {
        const auto result = client_.Get(path);
        if (!result) return "no answer";
        return std::to_string(result->status) + " " + result->body.substr(0, 40);
    }

    std::vector<std::string> lines() {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    const VKTStoreFolder folder_;
    std::mutex mutex_;
    std::vector<std::string> lines_;
    DemoServer server_{folder_.folder(), [this](const std::string& line) {
                           const std::lock_guard lock(mutex_);
                           lines_.push_back(line.substr(13));  // after the time
                       }};
    const int port_ = server_.start(0).value_or(0);
    httplib::Client client_{"127.0.0.1", port_};
};

TEST_F(DemoServerTest, AnswersWellAndBadly) {
    client_.set_follow_location(true);
    const std::string document = R"(200 <?xml version="1.0" encoding="UTF-8"?>)";
    const std::pair<const char*, std::string> cases[] = {
        {"/inline", document},
        {"/demo", document},
        {"/redirect/3", document},
        {"/status/503", R"(503 <?xml version="1.0" encoding="UTF-8"?>)"},
        {"/chain/x", "400 A number from 0 to"},
        {"/inline/<a>", "400 Letters, digits"},
        {"/nowhere", "404 Nothing here"},
        {"/redirect-loop", "no answer"},
        {"/close", "no answer"},
        {"/reset", "no answer"},
        {"/garbage", "no answer"},
        {"/config/7/not-json", "200 "},
        {"/files/../secret", "404 "}};
    for (const auto& [path, answer] : cases)
        EXPECT_EQ(answerTo(path).substr(0, answer.size()), answer) << path;
}

TEST_F(DemoServerTest, ListsEveryPathItAnswers) {
    const std::string listing = client_.Get("/paths")->body;
    EXPECT_EQ(listing, DemoServer::listing());
    for (const char* path : {"/chain/N", "/pixel/...", "/tell?path=P&answer=A", "/files/..."})
        EXPECT_NE(listing.find(path), std::string::npos) << path;
}

TEST_F(DemoServerTest, NotesEachPixelAsItIsAnsweredOnOneLine) {
    server_.tell(*ToldAnswer::initWithText("/pixel/a*=503:1"));
    EXPECT_EQ(answerTo("/pixel/ab?x=%0Ay"), "503 ");
    EXPECT_EQ(answerTo("/pixel/ab").substr(0, 7), "200 GIF");
    EXPECT_EQ(lines(), (std::vector<std::string>{"/pixel/ab x=%0Ay -> 503", "/pixel/ab"}));
    EXPECT_NE(client_.Get("/pixels")->body.find(R"("path":"/pixel/ab","query":"x=%0Ay","answer":"503")"),
              std::string::npos);
    client_.Get("/pixels/clear");
    EXPECT_EQ(client_.Get("/pixels")->body, "[]");
}

TEST_F(DemoServerTest, CollectsArraysOfLogRecordsOnly) {
    const std::pair<const char*, int> cases[] = {
        {R"([{"a":1},{}])", 200}, {"[1]", 400}, {"{}", 400}, {"no JSON", 400}};
    for (const auto& [body, status] : cases)
        EXPECT_EQ(client_.Post("/logs", body, "application/json")->status, status) << body;
    EXPECT_EQ(lines(), std::vector<std::string>{"/logs 2 collected"});
    EXPECT_NE(client_.Get("/logs")->body.find(R"("logs":[{"a":1},{}])"), std::string::npos);
}

TEST_F(DemoServerTest, ServesTheFilesOfItsFolderOnly) {
    std::ofstream(folder_.folder() + "/ad.xml") << "<VAST/>";
    EXPECT_EQ(answerTo("/files/ad.xml"), "200 <VAST/>");
    EXPECT_EQ(answerTo("/files/none.xml").substr(0, 3), "404");
}

TEST_F(DemoServerTest, ServesPartsOfTheMediaFilesOfItsFolderAndNothingOutsideOfIt) {
    const std::string media = folder_.folder() + "/media";
    std::filesystem::create_directory(media);
    std::ofstream(folder_.folder() + "/secret.mp4") << "secret";
    std::filesystem::create_symlink("../secret.mp4", media + "/link.mp4");
    for (const char* name : {"/ad.mp4", "/ad.m3u8", "/ad0.ts"})
        std::ofstream(media + name) << "0123456789";
    DemoServer server(
        "", [](const std::string&) {}, media);
    httplib::Client client("127.0.0.1", server.start(0).value_or(0));
    const auto answer = [&](const std::string& name, const httplib::Headers& headers) {
        const auto result = client.Get("/media/" + name, headers);
        return std::to_string(result->status) + " " + result->get_header_value("Content-Type") + " " +
               result->body.substr(0, 10);
    };
    EXPECT_EQ(answer("ad.mp4", {}), "200 video/mp4 0123456789");
    EXPECT_EQ(answer("ad.mp4", {{"Range", "bytes=3-5"}}), "206 video/mp4 345");
    EXPECT_EQ(answer("ad.m3u8", {}), "200 application/x-mpegURL 0123456789");
    EXPECT_EQ(answer("ad0.ts", {}), "200 video/mp2t 0123456789");
    for (const char* name :
         {"link.mp4", "../secret.mp4", "%2e%2e/secret.mp4", "/etc/hostname", "", "none.mp4"})
        EXPECT_EQ(answer(name, {}).substr(0, 3), "404") << name;
}

TEST_F(DemoServerTest, HasAVideoAsLongAsItsAdsThatPlaysWhileItLoads) {
    const std::string video = client_.Get("/media/a.mp4")->body;
    const auto numberAt = [&](std::size_t offset) {
        std::uint32_t number = 0;
        std::memcpy(&number, video.substr(offset, sizeof number).data(), sizeof number);
        return ntohl(number);
    };
    const std::size_t header = video.find("mvhd");
    ASSERT_LT(header, video.find("mdat")) << "what plays it would load all of it first";
    EXPECT_EQ(numberAt(header + 20), 15 * numberAt(header + 16));  // in the unit that stands before it
    const auto part = client_.Get("/media/a.mp4", {{"Range", "bytes=4-7"}});
    EXPECT_EQ(std::to_string(part->status) + " " + part->body, "206 ftyp");
}

TEST_F(DemoServerTest, ItsPicturesHaveTheSizesOfItsDocuments) {
    const std::pair<const char*, const char*> cases[] = {
        {"/media/companion.gif", "300x250"}, {"/media/icon.gif", "16x16"}, {"/media/other.gif", "1x1"}};
    for (const auto& [path, size] : cases) {
        const auto result = client_.Get(path);
        const auto numberAt = [&](std::size_t offset) {
            return static_cast<unsigned char>(result->body[offset]) +
                   256 * static_cast<unsigned char>(result->body[offset + 1]);
        };
        EXPECT_EQ(std::to_string(numberAt(6)) + "x" + std::to_string(numberAt(8)), size) << path;
        EXPECT_EQ(result->get_header_value("Content-Type") + result->body.substr(0, 3), "image/gifGIF")
            << path;
    }
}

TEST_F(DemoServerTest, StallsHalfway) {
    const std::string page = client_.Get("/html")->body;
    server_.tell(*ToldAnswer::initWithText("/html=stall"));
    std::string part;
    client_.Get("/html", [&](const char* data, std::size_t length) {
        part.append(data, length);
        return part.size() < page.size() / 2;
    });
    EXPECT_EQ(part, page.substr(0, page.size() / 2));
}

TEST_F(DemoServerTest, EndsWhileARequestHangs) {
    server_.tell(*ToldAnswer::initWithText("/pixel/*=hang"));
    auto hanging = std::async([this] { return answerTo("/pixel/a"); });
    while (lines().empty())
        std::this_thread::yield();
    server_.stop();
    EXPECT_EQ(hanging.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST_F(DemoServerTest, TellsThatAPortIsTaken) {
    DemoServer other("", [](const std::string&) {});
    EXPECT_EQ(other.start(port_), std::nullopt);
}

}  // namespace
