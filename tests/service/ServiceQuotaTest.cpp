// Limits on usage events against a real lumo-service: a flood from one
// client, oversized events, and a data folder short of free space.
#include "ServiceFixture.h"
#include "TextLines.h"

#include <chrono>
#include <string>

using namespace lumo_test;

namespace {

constexpr const char* kEmail = "ann@example.com";
constexpr const char* kPassword = "correct horse";
constexpr const char* kAnchorPath = "/lumo/user/anchor/anchor";
constexpr int kBurst = 120;
constexpr size_t kMaxEventBytes = 16 * 1024 + 256;
constexpr size_t kMaxInfoBytes = 16 * 1024;

std::vector<std::pair<std::string, std::string>> EventFields(const std::string& info)
{
    return {{"type", "INFO"},   {"version", "3.0.0"}, {"platform", "Linux"}, {"app", "YUVLumo"},
            {"page", "MainWindow"}, {"block", "NULL"},  {"action", "NULL"},    {"info", info}};
}

class ServiceQuotaTest : public ServiceFixture {
protected:
    size_t StoredEvents() const { return SplitLines(Operator({"events"}).out).size(); }
};

} // namespace

TEST_F(ServiceQuotaTest, AFloodFromOneClientIsCutOffWithinTheBurst)
{
    auto client = Client();
    client->set_keep_alive(true);
    const auto start = std::chrono::steady_clock::now();
    const auto secondsSinceStart = [&start] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    int accepted = 0;
    Answer refused;
    for (int i = 0; i < 400 && !refused.reached; ++i) {
        const Answer answer = Read(client->Post(kAnchorPath, Form(EventFields("flood")), kFormType));
        ASSERT_TRUE(answer.reached) << i;
        if (answer.status == 200) {
            ++accepted;
        } else {
            refused = answer;
        }
    }
    ASSERT_TRUE(refused.reached) << "400 events went through";
    EXPECT_EQ(429, refused.status);
    EXPECT_EQ(429, refused.Code());
    EXPECT_FALSE(refused.Message().empty());
    // Tokens come back at 2 a second while the flood goes on.
    EXPECT_GE(accepted, kBurst);
    EXPECT_LE(accepted, kBurst + static_cast<int>(2 * secondsSinceStart()) + 1);
    int refusedAfter = 0;
    for (int i = 0; i < 30; ++i) {
        const int status = Read(client->Post(kAnchorPath, Form(EventFields("flood")), kFormType)).status;
        ASSERT_TRUE(status == 200 || status == 429) << status;
        accepted += status == 200;
        refusedAfter += status == 429;
    }
    const double seconds = secondsSinceStart();
    EXPECT_LE(accepted, kBurst + static_cast<int>(2 * seconds) + 1);
    EXPECT_GE(refusedAfter, 30 - static_cast<int>(2 * seconds) - 1);
    EXPECT_EQ(static_cast<size_t>(accepted), StoredEvents());
}

TEST_F(ServiceQuotaTest, AThrottledClientStillSignsInAndIsServedAgainOnceTokensCameBack)
{
    auto client = Client();
    client->set_keep_alive(true);
    int status = 200;
    for (int i = 0; i < 400 && status == 200; ++i) {
        status = Read(client->Post(kAnchorPath, Form(EventFields("flood")), kFormType)).status;
    }
    ASSERT_EQ(429, status);
    AddUser(kEmail, kPassword);
    EXPECT_EQ(200, Check(TokenFor(kEmail, kPassword)).Code());
    SetClockOffset(5);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(200, Post(kAnchorPath, Form(EventFields("again"))).status) << i;
    }
}

TEST_F(ServiceQuotaTest, AnEventOfTheCapIsStoredOneByteMoreIs413)
{
    // A full info field and page, block and action making up the rest.
    const std::string info(kMaxInfoBytes, 'i');
    const size_t rest = kMaxEventBytes - kMaxInfoBytes - std::string("INFO3.0.0LinuxYUVLumo").size();
    const std::string page(100, 'p');
    const std::string block(100, 'b');
    const std::string action(rest - 200, 'a');
    const auto fields = [&](const std::string& actionField) {
        return Form({{"type", "INFO"}, {"version", "3.0.0"}, {"platform", "Linux"}, {"app", "YUVLumo"},
                     {"page", page}, {"block", block}, {"action", actionField}, {"info", info}});
    };
    EXPECT_EQ(200, Post(kAnchorPath, fields(action)).status);
    const Answer tooLarge = Post(kAnchorPath, fields(action + "a"));
    EXPECT_EQ(413, tooLarge.status);
    EXPECT_EQ(413, tooLarge.Code());
    EXPECT_NE(std::string::npos, tooLarge.Message().find(std::to_string(kMaxEventBytes))) << tooLarge.Message();
    const std::string shortField(64, 's');
    const std::string nameField(128, 'n');
    EXPECT_EQ(413, Post(kAnchorPath, Form({{"type", shortField}, {"version", shortField}, {"platform", shortField},
                                           {"app", shortField}, {"page", nameField}, {"block", nameField},
                                           {"action", nameField}, {"info", info}}))
                       .status);
    EXPECT_EQ(1u, StoredEvents());
}

TEST_F(ServiceQuotaTest, AReserveBeyondTheFreeSpaceRefusesEventsWith507ButNotSignInOrTokens)
{
    ASSERT_EQ(0, service.Stop());
    ASSERT_TRUE(StartService({"--events-reserve-mib", "999999999"})) << service.Announcement();
    AddUser(kEmail, kPassword);
    const Answer refused = Post(kAnchorPath, Form(EventFields("no room")));
    EXPECT_EQ(507, refused.status);
    EXPECT_EQ(507, refused.Code());
    EXPECT_FALSE(refused.Message().empty());
    const Answer signedIn = Login(kEmail, kPassword);
    EXPECT_EQ(200, signedIn.status);
    EXPECT_EQ(200, signedIn.Code());
    const std::string token = signedIn.Model("token");
    const Answer checked = Check(token);
    EXPECT_EQ(200, checked.status);
    EXPECT_EQ(200, checked.Code());
    EXPECT_EQ(200, Post("/lumo/user/feedback/send", Form({{"feedback", "still here"}, {"token", token}})).Code());
    EXPECT_EQ(0u, StoredEvents());
}

TEST_F(ServiceQuotaTest, TheDefaultReserveLetsEventsIn)
{
    EXPECT_EQ(200, Post(kAnchorPath, Form(EventFields("room"))).Code());
    EXPECT_EQ(1u, StoredEvents());
}

TEST_F(ServiceQuotaTest, TheOperatorSetsTheBurstAndTheRate)
{
    ASSERT_EQ(0, service.Stop());
    ASSERT_TRUE(StartService({"--events-burst", "5", "--events-per-minute", "1"})) << service.Announcement();
    auto client = Client();
    client->set_keep_alive(true);
    int accepted = 0;
    int refused = 0;
    for (int i = 0; i < 20; ++i) {
        const int status = Read(client->Post(kAnchorPath, Form(EventFields("set")), kFormType)).status;
        ASSERT_TRUE(status == 200 || status == 429) << status;
        accepted += status == 200;
        refused += status == 429;
    }
    // One token a minute comes back: at most one more than the burst.
    EXPECT_GE(accepted, 5);
    EXPECT_LE(accepted, 6);
    EXPECT_EQ(20 - accepted, refused);
    EXPECT_EQ(static_cast<size_t>(accepted), StoredEvents());
}
