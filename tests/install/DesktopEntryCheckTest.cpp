// The desktop-entry check, and the project's own entry held to it.

#include "DesktopEntryCheck.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <string>

using lumo_test::DesktopEntryCheck;

namespace {

const std::string kValid = "# a comment\n"
                           "[Desktop Entry]\n"
                           "Type=Application\n"
                           "Name=Viewer\n"
                           "Name[zh_CN]=查看器\n"
                           "Comment=Looks at things\n"
                           "Exec=viewer %F\n"
                           "Icon=viewer\n"
                           "Terminal=false\n"
                           "Categories=AudioVideo;Video;\n"
                           "X-Vendor-Thing=anything\n"
                           "\n"
                           "[Desktop Action New]\n"
                           "Name=New\n"
                           "Exec=viewer --new\n";

// The valid entry with one line replaced (or removed, for an empty with).
std::string Changed(const std::string& line, const std::string& with)
{
    std::string text = kValid;
    const size_t at = text.find(line + "\n");
    EXPECT_NE(at, std::string::npos) << line;
    text.replace(at, line.size() + 1, with.empty() ? std::string() : with + "\n");
    return text;
}

std::string AllProblems(const DesktopEntryCheck& check)
{
    std::string all;
    for (const std::string& problem : check.Problems()) {
        all += problem + "\n";
    }
    return all;
}

bool Finds(const std::string& text, const std::string& problem)
{
    const DesktopEntryCheck check(text);
    return AllProblems(check).find(problem) != std::string::npos;
}

TEST(DesktopEntryCheck, ValidEntryHasNoProblemAndGivesItsValues)
{
    const DesktopEntryCheck check(kValid);
    EXPECT_TRUE(check.Problems().empty()) << AllProblems(check);
    EXPECT_EQ(check.Value("Exec"), "viewer %F");
    EXPECT_EQ(check.Value("Name"), "Viewer");
    EXPECT_EQ(check.Value("MimeType"), "");
}

TEST(DesktopEntryCheck, TextThatIsNotUtf8IsRefused)
{
    EXPECT_TRUE(Finds(Changed("Name=Viewer", "Name=Vi\xe9wer"), "not UTF-8"));
    EXPECT_TRUE(Finds(Changed("Name=Viewer", "Name=Viewer\xe6\x9f"), "not UTF-8"));
    EXPECT_TRUE(Finds(Changed("Name=Viewer", "Name=\xc0\xaf"), "not UTF-8"));
}

TEST(DesktopEntryCheck, MainGroupMustComeFirst)
{
    EXPECT_TRUE(Finds("[Other]\nA=b\n[Desktop Entry]\nType=Application\nName=V\nExec=v\n", "first group"));
    EXPECT_TRUE(Finds("Type=Application\n", "key before the first group"));
}

TEST(DesktopEntryCheck, RepeatedKeysAndGroupsAreRefused)
{
    EXPECT_TRUE(Finds(Changed("Terminal=false", "Terminal=false\nTerminal=true"), "appears twice"));
    EXPECT_TRUE(Finds(kValid + "[Desktop Action New]\n", "group [Desktop Action New] appears twice"));
}

TEST(DesktopEntryCheck, MalformedLinesAndKeysAreRefused)
{
    EXPECT_TRUE(Finds(Changed("Terminal=false", "just words"), "neither a comment"));
    EXPECT_TRUE(Finds(Changed("Terminal=false", "Ter_minal=false"), "invalid key name"));
    EXPECT_TRUE(Finds(Changed("Terminal=false", "Favourite=yes"), "unknown key Favourite"));
    EXPECT_TRUE(Finds(Changed("Name[zh_CN]=查看器", "Name[zh_CN=查看器"), "malformed locale"));
    EXPECT_TRUE(Finds(Changed("Exec=viewer %F", "Exec[de]=viewer"), "Exec cannot be localised"));
    EXPECT_TRUE(Finds(Changed("Comment=Looks at things", "Comment=Looks\\q"), "invalid escape"));
    EXPECT_TRUE(Finds(Changed("[Desktop Action New]", "[Desktop Action New"), "malformed group header"));
}

TEST(DesktopEntryCheck, RequiredKeysMustBeThere)
{
    EXPECT_TRUE(Finds(Changed("Type=Application", ""), "Type is missing"));
    EXPECT_TRUE(Finds(Changed("Type=Application", "Type=Program"), "unknown Type"));
    EXPECT_TRUE(Finds(Changed("Name=Viewer", ""), "Name is missing"));
    EXPECT_TRUE(Finds(Changed("Exec=viewer %F", ""), "needs Exec"));
    EXPECT_TRUE(Finds(Changed("Type=Application", "Type=Link"), "a Link needs URL"));
}

TEST(DesktopEntryCheck, ValuesMustTakeTheFormOfTheirKind)
{
    EXPECT_TRUE(Finds(Changed("Terminal=false", "Terminal=no"), "neither true nor false"));
    EXPECT_TRUE(Finds(Changed("Terminal=false", "Version=2.0"), "unknown Version"));
    EXPECT_TRUE(Finds(Changed("Categories=AudioVideo;Video;", "Categories=AudioVideo;Video"), "does not end with ';'"));
    EXPECT_TRUE(Finds(Changed("Exec=viewer %F", "Exec=viewer %x"), "invalid field code %x"));
    EXPECT_TRUE(Finds(Changed("Icon=viewer", "Icon=viewer.png"), "Icon viewer.png"));
    EXPECT_TRUE(Finds(Changed("Comment=Looks at things", "Comment=Viewer"), "Comment repeats Name"));
}

TEST(DesktopEntryCheck, CategoriesNeedAMainCategoryAndVideoNeedsAudioVideo)
{
    EXPECT_TRUE(Finds(Changed("Categories=AudioVideo;Video;", "Categories=Qt;"), "no main category"));
    EXPECT_TRUE(Finds(Changed("Categories=AudioVideo;Video;", "Categories=Video;"), "Video without AudioVideo"));
}

TEST(DesktopEntryCheck, ProjectsEntryIsValid)
{
    const DesktopEntryCheck check(lumo_test::ReadWholeFile(LUMO_DESKTOP_ENTRY));
    EXPECT_TRUE(check.Problems().empty()) << AllProblems(check);
    EXPECT_EQ(check.Value("Exec"), "YUVLumo");
    EXPECT_EQ(check.Value("Icon"), "yuvlumo");
    EXPECT_EQ(check.Value("StartupWMClass"), "YUVLumo");
}

} // namespace
