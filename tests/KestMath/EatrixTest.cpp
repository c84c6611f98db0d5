#include "KestMath/Eatrix.hpp"
#include "core/KestLog.h"

#include "TempDir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <new>
#include <random>
#include <string>

using namespace Kest;

namespace {

const char* const kNotInvertible = "矩阵不可逆，请检查输入！\n";

Eatrix<float> Make(int rows, int cols, std::initializer_list<float> values)
{
    Eatrix<float> m(rows, cols);
    std::vector<float> data(values);
    m.SetData(data.data(), static_cast<int>(data.size()));
    return m;
}

void ExpectElements(const Eatrix<float>& m, int rows, int cols, std::initializer_list<float> values, float tolerance)
{
    ASSERT_EQ(rows, m.GetRow());
    ASSERT_EQ(cols, m.GetCol());
    std::vector<float> expected(values);
    for (int i = 0; i < rows; i++) {
        for (int j = 0; j < cols; j++) {
            EXPECT_NEAR(expected[i * cols + j], m(i, j), tolerance) << "element " << i << "," << j;
        }
    }
}

void ExpectIdentity(const Eatrix<float>& m, float tolerance)
{
    for (int i = 0; i < m.GetRow(); i++) {
        for (int j = 0; j < m.GetCol(); j++) {
            EXPECT_NEAR(i == j ? 1.0f : 0.0f, m(i, j), tolerance) << "element " << i << "," << j;
        }
    }
}

} // namespace

TEST(Eatrix, NewSquareMatrixIsIdentity)
{
    ExpectElements(Eatrix<float>(3, 3), 3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}, 0);
}

TEST(Eatrix, NewColumnStartsWithOne)
{
    ExpectElements(Eatrix<float>(3, 1), 3, 1, {1, 0, 0}, 0);
}

TEST(Eatrix, NonSquareGetsTheIdentityPattern)
{
    ExpectElements(Eatrix<float>(2, 3), 2, 3, {1, 0, 0, 0, 1, 0}, 0);
}

TEST(Eatrix, ZeroCountOwnsNoStorage)
{
    Eatrix<float> m(0, 3);
    EXPECT_FALSE(m.HasStorage());
    EXPECT_EQ(0, m.GetRow());
    EXPECT_EQ(3, m.GetCol());
    EXPECT_FALSE(Eatrix<float>().HasStorage());
    EXPECT_TRUE(Eatrix<float>(1, 1).HasStorage());
}

TEST(Eatrix, NegativeCountThrowsBadArrayLength)
{
    EXPECT_THROW(Eatrix<float>(-1, 3), std::bad_array_new_length);
}

TEST(Eatrix, SetDataFillsRowByRow)
{
    ExpectElements(Make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}), 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 0);
}

TEST(Eatrix, SetDataWithFewerValuesKeepsTheRest)
{
    ExpectElements(Make(3, 3, {9, 8, 7, 6, 5}), 3, 3, {9, 8, 7, 6, 5, 0, 0, 0, 1}, 0);
}

TEST(Eatrix, SetDataWithMoreValuesIgnoresTheExcess)
{
    ExpectElements(Make(2, 2, {1, 2, 3, 4, 5, 6, 7}), 2, 2, {1, 2, 3, 4}, 0);
}

TEST(Eatrix, ResizeDropsContentsForIdentity)
{
    Eatrix<float> m = Make(2, 2, {5, 6, 7, 8});
    EXPECT_EQ(0, m.Resize(3, 2));
    ExpectElements(m, 3, 2, {1, 0, 0, 1, 0, 0}, 0);
}

TEST(Eatrix, CopiesAreDeep)
{
    Eatrix<float> a = Make(2, 2, {1, 2, 3, 4});
    Eatrix<float> b(a);
    Eatrix<float> c(5, 5);
    c = a;
    a(0, 0) = 100;
    EXPECT_EQ(1, b(0, 0));
    EXPECT_EQ(1, c(0, 0));
    EXPECT_EQ(2, c.GetRow());
}

TEST(Eatrix, SelfAssignmentKeepsValues)
{
    Eatrix<float> a = Make(2, 2, {1, 2, 3, 4});
    Eatrix<float>& alias = a;
    a = alias;
    ExpectElements(a, 2, 2, {1, 2, 3, 4}, 0);
}

TEST(Eatrix, SquareTimesColumn)
{
    Eatrix<float> a = Make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    Eatrix<float> v = Make(3, 1, {1, 0, -1});
    ExpectElements(a * v, 3, 1, {-2, -2, -2}, 0);
}

TEST(Eatrix, SquareProduct)
{
    Eatrix<float> a = Make(2, 2, {1, 2, 3, 4});
    Eatrix<float> b = Make(2, 2, {5, 6, 7, 8});
    ExpectElements(a * b, 2, 2, {19, 22, 43, 50}, 0);
}

TEST(Eatrix, MismatchedShapesGiveZeros)
{
    Eatrix<float> a = Make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    Eatrix<float> b = Make(2, 2, {1, 2, 3, 4});
    ExpectElements(a * b, 3, 2, {0, 0, 0, 0, 0, 0}, 0);
}

TEST(Eatrix, ProductSumsOverTheLeftOperandsRowCount)
{
    // A 2x3 left operand: only two of the three terms are summed.
    Eatrix<float> a = Make(2, 3, {1, 1, 1, 2, 2, 2});
    Eatrix<float> b = Make(3, 1, {1, 10, 100});
    ExpectElements(a * b, 2, 1, {11, 22}, 0);
}

TEST(Eatrix, InverseOfDiagonal)
{
    Eatrix<float> d = Make(3, 3, {2, 0, 0, 0, 4, 0, 0, 0, 5});
    ExpectElements(!d, 3, 3, {0.5f, 0, 0, 0, 0.25f, 0, 0, 0, 0.2f}, 1e-7f);
}

TEST(Eatrix, InverseOfGeneral3x3)
{
    Eatrix<float> a = Make(3, 3, {4, 7, 2, 3, 6, 1, 2, 5, 3});
    // det = 9; the inverse is the adjugate / 9.
    ExpectElements(!a, 3, 3,
                   {13.0f / 9, -11.0f / 9, -5.0f / 9, -7.0f / 9, 8.0f / 9, 2.0f / 9, 3.0f / 9, -6.0f / 9, 3.0f / 9},
                   1e-5f);
}

TEST(Eatrix, InverseOfGeneral4x4MultipliesBackToIdentity)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    Eatrix<float> a(4, 4);
    for (int i = 0; i < 4; i++) {
        for (int j = 0; j < 4; j++) {
            a(i, j) = value(random) + (i == j ? 4.0f : 0.0f);
        }
    }
    ExpectIdentity(a * !a, 1e-5f);
    ExpectIdentity(!a * a, 1e-5f);
}

TEST(Eatrix, ZeroLeadingPivotIsNotGuarded)
{
    Eatrix<float> swap = Make(2, 2, {0, 1, 1, 0});
    ::testing::internal::CaptureStdout();
    Eatrix<float> inverse = !swap;
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
    bool anyNonFinite = false;
    for (int i = 0; i < 2; i++) {
        for (int j = 0; j < 2; j++) {
            anyNonFinite = anyNonFinite || !std::isfinite(inverse(i, j));
        }
    }
    EXPECT_TRUE(anyNonFinite);
}

TEST(Eatrix, NegativeDeterminantIsReportedAsNotInvertible)
{
    Eatrix<float> flip = Make(2, 2, {1, 0, 0, -1});
    ::testing::internal::CaptureStdout();
    Eatrix<float> inverse = !flip;
    EXPECT_EQ(kNotInvertible, ::testing::internal::GetCapturedStdout());
    ExpectElements(inverse, 2, 2, {1, 0, 0, 1}, 0);
}

TEST(Eatrix, SingularMatrixIsReportedAsNotInvertible)
{
    Eatrix<float> singular = Make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    ::testing::internal::CaptureStdout();
    Eatrix<float> inverse = !singular;
    EXPECT_EQ(kNotInvertible, ::testing::internal::GetCapturedStdout());
    ExpectIdentity(inverse, 0);
}

TEST(Eatrix, PrintInfoLogsShapeAndRows)
{
    lumo_test::TempDir dir;
    kest_log_path(dir.File("log.txt").c_str());
    kest_log_param(0, 0, 0, 0, 0);
    Make(2, 2, {1, -2.5f, 0.12345f, 4}).PrintInfo();
    kest_log_clear();
    kest_log_path("");
    kest_log_param(1, 1, 1, 1, 1);
    EXPECT_EQ("output:(2,2)\n 1.0000  -2.5000 \n 0.1235  4.0000 \n", lumo_test::ReadWholeFile(dir.File("log.txt")));
}

TEST(EatrixFixed, ShapesStartAsIdentity)
{
    ExpectElements(Eatrix4x4<float>(), 4, 4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, 0);
    ExpectElements(Eatrix3x3<float>(), 3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}, 0);
    ExpectElements(Eatrix4x1<float>(), 4, 1, {1, 0, 0, 0}, 0);
    ExpectElements(Eatrix3x1<float>(), 3, 1, {1, 0, 0}, 0);
}

TEST(EatrixFixed, BuiltFromAnEatrixTakesItsShapeAndValues)
{
    Eatrix4x4<float> m(Make(2, 2, {1, 2, 3, 4}));
    ExpectElements(m, 2, 2, {1, 2, 3, 4}, 0);
    Eatrix4x4<float> product = Eatrix4x4<float>() * Eatrix4x4<float>();
    ExpectIdentity(product, 0);
    EXPECT_EQ(4, product.GetRow());
}

TEST(EatrixFixed, ColumnCopyAndSelfAssignment)
{
    Eatrix3x1<float> v(Make(3, 1, {1, 2, 3}));
    Eatrix3x1<float> copy(v);
    Eatrix3x1<float>& alias = v;
    v = alias;
    ExpectElements(v, 3, 1, {1, 2, 3}, 0);
    v = Make(3, 1, {4, 5, 6});
    ExpectElements(copy, 3, 1, {1, 2, 3}, 0);
    ExpectElements(v, 3, 1, {4, 5, 6}, 0);
}
