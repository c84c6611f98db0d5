// The Debian package as a machine receives it: built by cpack (the
// package_deb_builds test runs before these), unpacked with dpkg -x into a
// fresh folder, and its programs run from there.

#include "BackgroundProcess.h"
#include "DesktopEntryCheck.h"
#include "LumoServiceProcess.h"
#include "TempDir.h"
#include "TextLines.h"
#include "X11Windows.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace lumo_test;
using namespace std::chrono_literals;

namespace {

constexpr auto kLimit = 60s;

const std::vector<std::string> kPrograms = {"YUVLumo", "lumo-iqa", "lumo-service"};

std::string Trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \n");
    const size_t last = text.find_last_not_of(" \n");
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// The package names of a Depends field, alternatives included.
std::set<std::string> DependedOn(const std::string& depends)
{
    std::set<std::string> names;
    std::istringstream in(depends);
    for (std::string entry; std::getline(in, entry, ',');) {
        std::istringstream alternatives(entry);
        for (std::string alternative; std::getline(alternatives, alternative, '|');) {
            const std::string name = Trimmed(alternative);
            names.insert(name.substr(0, name.find_first_of(" (")));
        }
    }
    return names;
}

bool HasPackageLike(const std::set<std::string>& names, const std::string& pattern)
{
    const std::regex match(pattern);
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) { return std::regex_match(name, match); });
}

bool FileHas(const std::string& path, const std::string& text, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (ReadWholeFile(path).find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

// Width and height from a PNG's header; 0 x 0 when it is not a PNG.
std::pair<int, int> PngSize(const std::string& path)
{
    const std::string data = ReadWholeFile(path);
    if (data.size() < 24 || data.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0 || data.compare(12, 4, "IHDR") != 0) {
        return {0, 0};
    }
    auto big = [&](size_t at) {
        return static_cast<int>((static_cast<uint32_t>(static_cast<unsigned char>(data[at])) << 24)
                                | (static_cast<uint32_t>(static_cast<unsigned char>(data[at + 1])) << 16)
                                | (static_cast<uint32_t>(static_cast<unsigned char>(data[at + 2])) << 8)
                                | static_cast<uint32_t>(static_cast<unsigned char>(data[at + 3])));
    };
    return {big(16), big(20)};
}

class PackageTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const auto& entry : std::filesystem::directory_iterator(LUMO_PACKAGE_DIR)) {
            if (entry.path().extension() == ".deb") {
                debs.push_back(entry.path().string());
            }
        }
        ASSERT_EQ(debs.size(), 1u) << "the package_deb_builds test makes one package in " << LUMO_PACKAGE_DIR;
        deb = debs[0];
        const ToolResult unpacked = RunTool({"/usr/bin/dpkg", "-x", deb, root.Path()});
        ASSERT_EQ(unpacked.exitCode, 0) << unpacked.out;
    }

    std::string Field(const std::string& name) const
    {
        return Trimmed(RunTool({"/usr/bin/dpkg-deb", "-f", deb, name}).out);
    }

    std::string Installed(const std::string& path) const { return root.Path() + "/usr/" + path; }

    std::vector<std::string> debs;
    std::string deb;
    TempDir root;
};

TEST_F(PackageTest, PackageIsNamedVersionedAndDescribedForDebian)
{
    EXPECT_EQ(std::filesystem::path(deb).filename().string(),
              "yuvlumo_" LUMO_VERSION "_" + Trimmed(RunTool({"/usr/bin/dpkg", "--print-architecture"}).out) + ".deb");
    EXPECT_EQ(Field("Package"), "yuvlumo");
    EXPECT_EQ(Field("Version"), LUMO_VERSION);
    EXPECT_EQ(Field("Architecture"), Trimmed(RunTool({"/usr/bin/dpkg", "--print-architecture"}).out));
    EXPECT_TRUE(std::regex_match(Field("Maintainer"), std::regex(R"([^<>]+ <[^@<>\s]+@[^@<>\s]+>)")))
        << Field("Maintainer");
    EXPECT_EQ(Field("Section"), "video");
    EXPECT_EQ(Field("Priority"), "optional");
    const std::vector<std::string> description = SplitLines(Field("Description"));
    ASSERT_GE(description.size(), 3u);
    EXPECT_EQ(description[0], "raw YUV video viewer and comparer");
    for (size_t i = 1; i < description.size(); i++) {
        // Continuation lines start with a space (an empty one is " .") and
        // fit a terminal.
        EXPECT_EQ(description[i][0], ' ') << description[i];
        EXPECT_LE(description[i].size(), 80u) << description[i];
    }
    EXPECT_NE(Field("Description").find("lumo-service"), std::string::npos);
    EXPECT_GT(std::stoll(Field("Installed-Size")), 0);
}

TEST_F(PackageTest, DependsNameTheQtFfmpegAndServiceRuntimeLibraries)
{
    const std::set<std::string> names = DependedOn(Field("Depends"));
    for (const char* pattern :
         {"libqt5core5a", "libqt5gui5", "libqt5widgets5", "libqt5network5", "libavformat[0-9]+", "libavcodec[0-9]+",
          "libavutil[0-9]+", "libswscale[0-9]+", "libswresample[0-9]+", "libssl[0-9]+", "libsqlite3-0",
          "libsodium[0-9]+", "libmicrohttpd[0-9]+", "libgnutls[0-9]+", "libc6", "libstdc\\+\\+6", "fonts-wqy-microhei"}) {
        EXPECT_TRUE(HasPackageLike(names, pattern)) << pattern << " missing from Depends: " << Field("Depends");
    }
}

// Every library a program loads by name comes from a package that Depends
// lists, so installing the package brings all of them.
TEST_F(PackageTest, EveryLibraryTheProgramsNeedComesFromAPackageInDepends)
{
    const std::set<std::string> names = DependedOn(Field("Depends"));
    for (const std::string& program : kPrograms) {
        const std::string path = Installed("bin/" + program);
        const ToolResult dynamic = RunTool({"/usr/bin/readelf", "-d", path});
        ASSERT_EQ(dynamic.exitCode, 0);
        const ToolResult resolved = RunTool({"/usr/bin/ldd", path});
        ASSERT_EQ(resolved.exitCode, 0) << resolved.out;
        std::smatch found;
        std::string rest = dynamic.out;
        int needed = 0;
        while (std::regex_search(rest, found, std::regex(R"(\(NEEDED\)\s+Shared library: \[([^\]]+)\])"))) {
            const std::string library = found[1];
            rest = found.suffix();
            needed++;
            // "NAME => PATH (address)", or "PATH (address)" for the dynamic
            // loader.
            const std::string name = std::regex_replace(library, std::regex(R"([.+])"), R"(\$&)");
            std::smatch where;
            ASSERT_TRUE(std::regex_search(resolved.out, where, std::regex("\\s" + name + R"( => (\S+))"))
                        || std::regex_search(resolved.out, where, std::regex(R"(\s(/\S*/)" + name + R"() \()")))
                << program << " cannot find " << library << ":\n"
                << resolved.out;
            const std::string file = where[1];
            // Debian 12 merged /lib into /usr/lib; the package database may
            // hold either spelling.
            std::string owner;
            for (const std::string& candidate :
                 {file, file.compare(0, 5, "/lib/") == 0 ? "/usr" + file : file.substr(4),
                  std::filesystem::canonical(file).string()}) {
                const ToolResult search = RunTool({"/usr/bin/dpkg", "-S", candidate}, "", kLimit, "/dev/null");
                if (search.exitCode == 0) {
                    owner = search.out.substr(0, search.out.find_first_of(":,"));
                    break;
                }
            }
            ASSERT_FALSE(owner.empty()) << "no package owns " << file;
            EXPECT_EQ(names.count(owner), 1u) << program << " needs " << library << " of " << owner
                                              << ", which Depends does not name: " << Field("Depends");
        }
        EXPECT_GT(needed, 3) << program;
    }
}

TEST_F(PackageTest, ProgramsDesktopEntryAndIconAreWhereADesktopLooksAndNothingElseIsInstalled)
{
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root.Path())) {
        if (!entry.is_directory()) {
            files.insert(entry.path().string().substr(root.Path().size()));
        }
    }
    const std::set<std::string> expected = {"/usr/bin/YUVLumo", "/usr/bin/lumo-iqa", "/usr/bin/lumo-service",
                                            "/usr/share/applications/yuvlumo.desktop",
                                            "/usr/share/icons/hicolor/256x256/apps/yuvlumo.png"};
    EXPECT_EQ(files, expected);
    for (const std::string& program : kPrograms) {
        struct stat info;
        ASSERT_EQ(stat(Installed("bin/" + program).c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777, 0755u) << program;
        // Stripped, and no search path into the build folder.
        const ToolResult headers = RunTool({"/usr/bin/readelf", "-S", "-d", Installed("bin/" + program)});
        EXPECT_EQ(headers.out.find(".debug_info"), std::string::npos) << program;
        EXPECT_EQ(headers.out.find("RPATH"), std::string::npos) << program;
        EXPECT_EQ(headers.out.find("RUNPATH"), std::string::npos) << program;
    }
    EXPECT_EQ(PngSize(Installed("share/icons/hicolor/256x256/apps/yuvlumo.png")), std::make_pair(256, 256));
}

TEST_F(PackageTest, DesktopEntryIsValidAndNamesTheInstalledProgramAndIcon)
{
    const DesktopEntryCheck check(ReadWholeFile(Installed("share/applications/yuvlumo.desktop")));
    std::string problems;
    for (const std::string& problem : check.Problems()) {
        problems += problem + "\n";
    }
    EXPECT_TRUE(check.Problems().empty()) << problems;
    EXPECT_EQ(check.Value("Type"), "Application");
    EXPECT_EQ(check.Value("Terminal"), "false");
    // A plain program name is looked up on PATH, where /usr/bin is.
    EXPECT_EQ(check.Value("Exec").find('/'), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(Installed("bin/" + check.Value("Exec").substr(0, check.Value("Exec").find(' ')))));
    EXPECT_TRUE(std::filesystem::exists(Installed("bin/" + check.Value("TryExec"))));
    EXPECT_TRUE(
        std::filesystem::exists(Installed("share/icons/hicolor/256x256/apps/" + check.Value("Icon") + ".png")));
    // Qt names the application's windows' class after the program.
    EXPECT_EQ(check.Value("StartupWMClass"), "YUVLumo");
}

TEST_F(PackageTest, CommandLineProgramsRunFromTheUnpackedTree)
{
    const ToolResult iqa = RunTool({Installed("bin/lumo-iqa"), "--help"});
    EXPECT_EQ(iqa.exitCode, 0);
    EXPECT_EQ(iqa.out.rfind("usage: lumo-iqa ", 0), 0u) << iqa.out;
    const ToolResult service = RunTool({Installed("bin/lumo-service"), "--help"});
    EXPECT_EQ(service.exitCode, 0);
    EXPECT_NE(service.out.find("lumo-service serve --data DIR"), std::string::npos) << service.out;
}

TEST_F(PackageTest, UnpackedApplicationShowsItsWindowsAndSignsInAgainstTheUnpackedService)
{
    X11Windows windows;
    ASSERT_TRUE(windows.Connected()) << "no X display: run under scripts/with-display";
    TempDir data;
    TempDir home;
    LumoServiceProcess service(Installed("bin/lumo-service"), data.Path(), data.File("service.log"));
    ASSERT_TRUE(service.Start()) << service.Announcement() << ReadWholeFile(data.File("service.log"));

    std::map<std::string, std::string> environment = CurrentEnvironment();
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "RESOURCE_NAME"}) {
        environment.erase(name);
    }
    environment["HOME"] = home.Path();
    environment["YUVLUMO_SERVICE_URL"] = service.BaseUrl();
    environment["YUVLUMO_SERVICE_CA"] = service.CertPath();
    BackgroundProcess app;
    ASSERT_TRUE(app.Start({Installed("bin/YUVLumo")}, environment, home.File("app.out")));

    // The splash first, then (no session saved) the login window, which
    // reports its opening to the service.
    EXPECT_TRUE(windows.WaitFor([&] { return !windows.ShownWindowsOf(app.Pid()).empty(); }, kLimit)) << app.Output();
    ASSERT_TRUE(windows.WaitFor([&] { return !windows.ShownWindowsOf(app.Pid(), true).empty(); }, kLimit))
        << app.Output();
    EXPECT_FALSE(windows.ShownWindowsOf(app.Pid(), true)[0].title.empty());
    EXPECT_TRUE(FileHas(data.File("service.log"), "POST /lumo/user/anchor/anchor 200", kLimit));

    EXPECT_GE(windows.CloseWindowsOf(app.Pid()), 1);
    EXPECT_EQ(app.Wait(kLimit), 0) << app.Output();
}

} // namespace
