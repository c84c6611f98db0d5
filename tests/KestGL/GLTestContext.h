#ifndef LUMO_TESTS_GLTESTCONTEXT_H
#define LUMO_TESTS_GLTESTCONTEXT_H

#include <QOpenGLFunctions_3_3_Core>

#include <gtest/gtest.h>

#include <string>

namespace gl_test {

// Size of the window whose default frame buffer the tests draw into.
constexpr int kSize = 64;

// The GL functions of the test program's one context (3.3 core or later),
// current on the main thread.
QOpenGLFunctions_3_3_Core* Functions();
// Makes the context current again / releases it.
void MakeCurrent();
void DoneCurrent();

struct Rgba {
    int r, g, b, a;
};

// One pixel of the bound read frame buffer, x from the left, y from the
// bottom.
Rgba ReadRgba(int x, int y);

// Every test starts from a cleared (black) default frame buffer, nothing
// bound, and a log that goes to a file of its own with only the message.
class GLTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Everything logged so far.
    std::string Log();

    QOpenGLFunctions_3_3_Core* gl = nullptr;

private:
    std::string logPath;
};

// A program drawing its positions (location 0) in one colour.
extern const char* const kFlatVertex;
extern const char* const kFlatFragment;

} // namespace gl_test

#endif
