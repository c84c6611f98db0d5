// scripts/run-app as a new user meets it: a fresh home folder, the built
// application and service, a real lumo-service, and the application's
// windows closed from outside the way a window manager closes them.

#include "BackgroundProcess.h"
#include "LumoServiceProcess.h"
#include "TempDir.h"
#include "X11Windows.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

using namespace lumo_test;
using namespace std::chrono_literals;

namespace {

// Generous: the application starts under a software renderer on a machine
// shared with other builds.
constexpr auto kLimit = 60s;

bool FileHas(const std::string& path, const std::string& text, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (ReadWholeFile(path).find(text) != std::string::npos) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(10ms);
    }
}

bool IsDirectory(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IsFile(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// The address in "run-app: local service at https://HOST:PORT (...".
std::string AnnouncedUrl(const std::string& output)
{
    const std::string marker = "run-app: local service at ";
    const size_t start = output.find(marker);
    if (start == std::string::npos) {
        return std::string();
    }
    const size_t from = start + marker.size();
    return output.substr(from, output.find(' ', from) - from);
}

class RunAppTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        // Whatever the script leaves behind becomes this process's child, so
        // a service it failed to stop cannot hide with init.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
    }

    void SetUp() override
    {
        ASSERT_TRUE(windows.Connected()) << "no X display: run under scripts/with-display";
        environment = CurrentEnvironment();
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "YUVLUMO_SERVICE_URL",
                                 "YUVLUMO_SERVICE_CA", "RESOURCE_NAME"}) {
            environment.erase(name);
        }
        environment["HOME"] = home.Path();
    }

    void TearDown() override
    {
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }

    std::string DataHome() const { return home.Path() + "/.local/share/yuvlumo"; }
    std::string DataDir() const { return DataHome() + "/service"; }

    void StartScript(BackgroundProcess& script, const std::vector<std::string>& extra = {})
    {
        std::vector<std::string> argv {LUMO_RUN_APP, "--no-build", "--build-dir", LUMO_BUILD_DIR};
        argv.insert(argv.end(), extra.begin(), extra.end());
        ASSERT_TRUE(script.Start(argv, environment, scratch.File("run-app-" + std::to_string(++runs) + ".out")));
    }

    // The application the script started (a child named YUVLumo) once one of
    // its normal windows shows; 0 when none did within the limit.
    pid_t WaitForApplicationWindow(pid_t parent)
    {
        pid_t app = 0;
        windows.WaitFor(
            [&] {
                const std::vector<pid_t> apps = ChildProcesses(parent, "YUVLumo");
                app = apps.size() == 1 ? apps[0] : 0;
                return app != 0 && !windows.ShownWindowsOf(app, true).empty();
            },
            kLimit);
        return app != 0 && !windows.ShownWindowsOf(app, true).empty() ? app : 0;
    }

    // Closes the application's windows and expects the script to end with
    // 0, leaving neither the application nor the service running.
    void CloseAndExpectCleanEnd(BackgroundProcess& script, pid_t app, pid_t service)
    {
        EXPECT_GE(windows.CloseWindowsOf(app), 1);
        const auto deadline = std::chrono::steady_clock::now() + kLimit;
        while (ProcessExists(app) && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        // The service stops at once even with the application's connections
        // still open, so the script does not linger after the application.
        const auto appGone = std::chrono::steady_clock::now();
        EXPECT_EQ(script.Wait(kLimit), 0) << script.Output();
        EXPECT_LT(std::chrono::steady_clock::now() - appGone, std::chrono::seconds(1));
        EXPECT_FALSE(ProcessExists(app));
        EXPECT_FALSE(ProcessExists(service));
    }

    TempDir home;
    TempDir scratch;
    X11Windows windows;
    std::map<std::string, std::string> environment;
    int runs = 0;
};

TEST_F(RunAppTest, FirstStartRunsTheServiceTellsHowToRegisterAndEndsCleanlyWhenTheLastWindowCloses)
{
    ASSERT_FALSE(IsDirectory(DataHome()));
    BackgroundProcess script;
    StartScript(script, {"--listen", "127.0.0.1:0"});
    ASSERT_TRUE(script.WaitForOutput("run-app: local service at https://127.0.0.1:", kLimit)) << script.Output();
    const pid_t app = WaitForApplicationWindow(script.Pid());
    ASSERT_NE(app, 0) << script.Output();
    const std::vector<pid_t> services = ChildProcesses(script.Pid(), "lumo-service");
    ASSERT_EQ(services.size(), 1u);

    const std::string output = script.Output();
    const std::string url = AnnouncedUrl(output);
    EXPECT_NE(output.find("  " + url + "/register\n"), std::string::npos) << output;
    EXPECT_NE(output.find("/service/lumo-service --data " + DataDir() + " user add "), std::string::npos) << output;
    EXPECT_TRUE(IsFile(DataDir() + "/tls/cert.pem"));
    EXPECT_TRUE(IsFile(DataDir() + "/lumo.db"));

    // The login window reports its opening: the application reached the
    // service at the exported address and trusted its certificate.
    EXPECT_TRUE(FileHas(DataHome() + "/service.log", "POST /lumo/user/anchor/anchor 200", kLimit))
        << ReadWholeFile(DataHome() + "/service.log");
    const ToolResult events = RunTool({LUMO_SERVICE_PATH, "--data", DataDir(), "events"});
    EXPECT_EQ(events.exitCode, 0);
    EXPECT_NE(events.out.find("\"loginWindow\""), std::string::npos) << events.out;

    CloseAndExpectCleanEnd(script, app, services[0]);
}

TEST_F(RunAppTest, AccountHintIsShownOnTheFirstStartOnly)
{
    for (int start = 1; start <= 2; start++) {
        BackgroundProcess script;
        StartScript(script, {"--listen", "127.0.0.1:0"});
        const pid_t app = WaitForApplicationWindow(script.Pid());
        ASSERT_NE(app, 0) << script.Output();
        const std::vector<pid_t> services = ChildProcesses(script.Pid(), "lumo-service");
        ASSERT_EQ(services.size(), 1u);
        CloseAndExpectCleanEnd(script, app, services[0]);
        const std::string output = script.Output();
        EXPECT_NE(output.find("run-app: local service at https://127.0.0.1:"), std::string::npos) << output;
        EXPECT_EQ(output.find("/register") != std::string::npos, start == 1) << output;
        EXPECT_EQ(output.find(" user add ") != std::string::npos, start == 1) << output;
    }
}

TEST_F(RunAppTest, SigtermToTheScriptEndsTheApplicationAndTheService)
{
    BackgroundProcess script;
    StartScript(script, {"--listen", "127.0.0.1:0"});
    const pid_t app = WaitForApplicationWindow(script.Pid());
    ASSERT_NE(app, 0) << script.Output();
    const std::vector<pid_t> services = ChildProcesses(script.Pid(), "lumo-service");
    ASSERT_EQ(services.size(), 1u);

    script.Signal(SIGTERM);
    EXPECT_EQ(script.Wait(kLimit), 143) << script.Output();
    EXPECT_FALSE(ProcessExists(app));
    EXPECT_FALSE(ProcessExists(services[0]));
    EXPECT_NE(ReadWholeFile(DataHome() + "/service.log").find("lumo-service: stopped"), std::string::npos);
}

TEST_F(RunAppTest, CtrlCEndsTheApplicationAndTheService)
{
    BackgroundProcess script;
    StartScript(script, {"--listen", "127.0.0.1:0"});
    const pid_t app = WaitForApplicationWindow(script.Pid());
    ASSERT_NE(app, 0) << script.Output();
    const std::vector<pid_t> services = ChildProcesses(script.Pid(), "lumo-service");
    ASSERT_EQ(services.size(), 1u);

    // A terminal sends Ctrl+C's SIGINT to every process of its foreground
    // group.
    script.SignalGroup(SIGINT);
    EXPECT_EQ(script.Wait(kLimit), 130) << script.Output();
    EXPECT_FALSE(ProcessExists(app));
    EXPECT_FALSE(ProcessExists(services[0]));
}

TEST_F(RunAppTest, ApplicationExitCodePassesThrough)
{
    BackgroundProcess script;
    // Qt gives up on a platform it does not have, with SIGABRT.
    StartScript(script, {"--listen", "127.0.0.1:0", "--", "-platform", "no-such-platform"});
    EXPECT_EQ(script.Wait(kLimit), 128 + SIGABRT) << script.Output();
    EXPECT_NE(script.Output().find("no-such-platform"), std::string::npos) << script.Output();
    EXPECT_NE(ReadWholeFile(DataHome() + "/service.log").find("lumo-service: stopped"), std::string::npos);
}

TEST_F(RunAppTest, TakenPortIsReportedAndNothingIsStarted)
{
    const int holder = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(holder, 0);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(holder, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(holder, 1), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(getsockname(holder, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const std::string listenAt = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));

    BackgroundProcess script;
    StartScript(script, {"--listen", listenAt});
    EXPECT_EQ(script.Wait(kLimit), 1) << script.Output();
    close(holder);
    const std::string output = script.Output();
    EXPECT_NE(output.find("run-app: " + listenAt + " is taken or cannot be used"), std::string::npos) << output;
    EXPECT_NE(output.find("--listen 127.0.0.1:0"), std::string::npos) << output;
    EXPECT_EQ(output.find("local service at"), std::string::npos) << output;
}

TEST_F(RunAppTest, ServiceNamedByTheEnvironmentIsUsedAndNoLocalOneIsStarted)
{
    TempDir serviceData;
    LumoServiceProcess service(LUMO_SERVICE_PATH, serviceData.Path(), serviceData.File("service.log"));
    ASSERT_TRUE(service.Start()) << service.Announcement();
    environment["YUVLUMO_SERVICE_URL"] = service.BaseUrl();
    environment["YUVLUMO_SERVICE_CA"] = service.CertPath();

    BackgroundProcess script;
    StartScript(script);
    // The script hands over to the application itself.
    ASSERT_TRUE(windows.WaitFor([&] { return !windows.ShownWindowsOf(script.Pid(), true).empty(); }, kLimit))
        << script.Output();
    EXPECT_TRUE(FileHas(serviceData.File("service.log"), "POST /lumo/user/anchor/anchor 200", kLimit));
    EXPECT_NE(script.Output().find("run-app: the application uses the service at " + service.BaseUrl()),
              std::string::npos)
        << script.Output();
    EXPECT_FALSE(IsDirectory(DataHome()));

    EXPECT_GE(windows.CloseWindowsOf(script.Pid()), 1);
    EXPECT_EQ(script.Wait(kLimit), 0) << script.Output();
}

} // namespace
