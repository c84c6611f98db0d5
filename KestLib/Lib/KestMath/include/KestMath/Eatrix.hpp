#ifndef KEST_MATH_EATRIX_HPP
#define KEST_MATH_EATRIX_HPP

#include "core/KestLog.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace Kest {

// A small dense row-major matrix with deep-copy value semantics. New storage
// always holds the identity pattern (1 where row == column, else 0), also for
// non-square shapes. Used for 3x3 colour matrices and 4x4 transforms.
template <typename T>
class Eatrix {
public:
    explicit Eatrix(int row = 0, int col = 0) : row(0), col(0), mat(nullptr) { Resize(row, col); }

    Eatrix(const Eatrix& other) : row(0), col(0), mat(nullptr) { *this = other; }

    virtual ~Eatrix() { free(); }

    Eatrix& operator=(const Eatrix& other)
    {
        if (&other == this) {
            return *this;
        }
        free();
        row = other.row;
        col = other.col;
        init(row, col);
        for (int i = 0; mat != nullptr && i < row; i++) {
            std::copy(other.mat[i], other.mat[i] + col, mat[i]);
        }
        return *this;
    }

    // Former contents are lost: the result is the identity pattern. A
    // negative count throws std::bad_array_new_length.
    int Resize(int row, int col)
    {
        free();
        this->row = row;
        this->col = col;
        init(row, col);
        return 0;
    }

    // Element k in row-major order takes data[k] while k < count; the rest
    // keep their values.
    int SetData(const T* data, int count)
    {
        int k = 0;
        for (int i = 0; i < row; i++) {
            for (int j = 0; j < col && k < count; j++, k++) {
                mat[i][j] = data[k];
            }
        }
        return 0;
    }

    int GetRow() const { return row; }
    int GetCol() const { return col; }
    bool HasStorage() const { return mat != nullptr; }
    T& operator()(int i, int j) { return mat[i][j]; }
    const T& operator()(int i, int j) const { return mat[i][j]; }

    // Matrix product. Mismatched shapes (a.col != b.row) give the all-zero
    // a.row x b.col matrix. The inner sum runs over the left operand's row
    // count: the program only multiplies square left operands, for which this
    // is the ordinary product. It never reads past the end of a row.
    Eatrix operator*(const Eatrix& b) const
    {
        Eatrix result(row, b.col);
        result.Clear();
        if (col != b.row) {
            return result;
        }
        const int inner = std::min(row, col);
        for (int i = 0; i < result.row; i++) {
            for (int j = 0; j < result.col; j++) {
                T sum = 0;
                for (int k = 0; k < inner; k++) {
                    sum += mat[i][k] * b.mat[k][j];
                }
                result.mat[i][j] = sum;
            }
        }
        return result;
    }

    // Inverse by Doolittle LU without pivoting and adjugates of the two
    // triangular factors. A determinant below 1e-16 (negative ones included)
    // prints a message to standard output and gives the identity pattern; a
    // zero leading pivot is not guarded and gives infinities or NaN.
    Eatrix operator!() const
    {
        Eatrix result(row, col);
        if (row != col || row == 0) {
            printf("矩阵不可逆，请检查输入！\n");
            return result;
        }
        const int n = row;
        Eatrix lower(n, n);
        Eatrix upper(n, n);
        upper.Clear();
        Decompose(lower, upper);

        T detU = 1;
        for (int i = 0; i < n; i++) {
            detU *= upper.mat[i][i];
        }
        const double det = static_cast<double>(detU);
        if (1e-16 > det) {
            printf("矩阵不可逆，请检查输入！\n");
            return result;
        }

        Eatrix upperInverse = UpperAdjugate(upper);
        upperInverse.Scale(detU);
        Eatrix lowerInverse = UpperAdjugate(lower.Transposed()).Transposed();
        T detL = 1;
        for (int i = 0; i < n; i++) {
            detL *= lower.mat[i][i];
        }
        lowerInverse.Scale(detL);
        result = upperInverse * lowerInverse;
        return result;
    }

    // Logs the shape, then one line per row, at level 5.
    void PrintInfo() const
    {
        kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "output:(%d,%d)\n", row, col);
        for (int i = 0; mat != nullptr && i < row; i++) {
            std::string line;
            for (int j = 0; j < col; j++) {
                char element[64];
                snprintf(element, sizeof(element), " %.4f ", static_cast<double>(mat[i][j]));
                line += element;
            }
            kest_log_log(__FILE__, __FUNCTION__, __LINE__, 5, "%s\n", line.c_str());
        }
    }

protected:
    int init(int row, int col)
    {
        if (row == 0 || col == 0) {
            return 0;
        }
        mat = new T*[row]();
        for (int i = 0; i < row; i++) {
            mat[i] = new T[col];
            for (int j = 0; j < col; j++) {
                mat[i][j] = (i == j) ? T(1) : T(0);
            }
        }
        return 0;
    }

    // Releases the storage; row and col keep their values.
    int free()
    {
        if (mat == nullptr) {
            return 0;
        }
        for (int i = 0; i < row; i++) {
            delete[] mat[i];
            mat[i] = nullptr;
        }
        delete[] mat;
        mat = nullptr;
        return 0;
    }

    int row;
    int col;
    T** mat;

private:
    void Clear()
    {
        for (int i = 0; mat != nullptr && i < row; i++) {
            std::fill(mat[i], mat[i] + col, T(0));
        }
    }

    void Scale(T divisor)
    {
        for (int i = 0; i < row; i++) {
            for (int j = 0; j < col; j++) {
                mat[i][j] /= divisor;
            }
        }
    }

    Eatrix Transposed() const
    {
        Eatrix t(col, row);
        for (int i = 0; i < row; i++) {
            for (int j = 0; j < col; j++) {
                t.mat[j][i] = mat[i][j];
            }
        }
        return t;
    }

    // Doolittle: lower is unit lower-triangular, upper upper-triangular, no
    // row exchanges.
    void Decompose(Eatrix& lower, Eatrix& upper) const
    {
        const int n = row;
        for (int i = 0; i < n - 1; i++) {
            for (int j = i; j < n; j++) {
                T sum = 0;
                for (int k = 0; k < i; k++) {
                    sum += lower.mat[i][k] * upper.mat[k][j];
                }
                upper.mat[i][j] = mat[i][j] - sum;
            }
            for (int j = i + 1; j < n; j++) {
                T sum = 0;
                for (int k = 0; k < i; k++) {
                    sum += lower.mat[j][k] * upper.mat[k][i];
                }
                lower.mat[j][i] = (mat[j][i] - sum) / upper.mat[i][i];
            }
        }
        T sum = 0;
        for (int k = 0; k < n - 1; k++) {
            sum += lower.mat[n - 1][k] * upper.mat[k][n - 1];
        }
        upper.mat[n - 1][n - 1] = mat[n - 1][n - 1] - sum;
    }

    // Adjugate of an upper-triangular matrix (not yet divided by its
    // determinant). Element (i, j), j >= i, is the cofactor of (j, i): the
    // product of the diagonal outside i..j times the minor of the block of
    // rows i..j-1 and columns i+1..j, with the cofactor sign.
    static Eatrix UpperAdjugate(const Eatrix& u)
    {
        const int n = u.row;
        Eatrix adj(n, n);
        adj.Clear();
        for (int i = 0; i < n; i++) {
            for (int j = i; j < n; j++) {
                T outside = 1;
                for (int d = 0; d < n; d++) {
                    if (d < i || d > j) {
                        outside *= u.mat[d][d];
                    }
                }
                const int m = j - i;
                T minor = 1;
                if (m == 1) {
                    minor = u.mat[i][j];
                } else if (m > 1) {
                    minor = LeibnizDeterminant(u, i, i + 1, m);
                }
                const T sign = ((i + j) % 2 == 0) ? T(1) : T(-1);
                adj.mat[i][j] = sign * outside * minor;
            }
        }
        return adj;
    }

    // Determinant of the m x m block at (top, left) by the permutation
    // expansion: permutations in lexicographic order, each term signed by
    // the parity of its inversion count.
    static T LeibnizDeterminant(const Eatrix& a, int top, int left, int m)
    {
        std::vector<int> perm(m);
        for (int k = 0; k < m; k++) {
            perm[k] = k;
        }
        T det = 0;
        do {
            int inversions = 0;
            for (int p = 0; p < m; p++) {
                for (int q = p + 1; q < m; q++) {
                    inversions += perm[p] > perm[q] ? 1 : 0;
                }
            }
            T term = (inversions % 2 == 0) ? T(1) : T(-1);
            for (int r = 0; r < m; r++) {
                term *= a.mat[top + r][left + perm[r]];
            }
            det += term;
        } while (std::next_permutation(perm.begin(), perm.end()));
        return det;
    }
};

// A matrix of fixed shape R x C. Built from any Eatrix, it first holds the
// R x C identity pattern and then takes the source by assignment, shape
// included (the program only hands it sources of its own shape).
template <typename T, int R, int C>
class EatrixFixed : public Eatrix<T> {
public:
    EatrixFixed() : Eatrix<T>(R, C) {}
    EatrixFixed(const Eatrix<T>& other) : Eatrix<T>(R, C) { Eatrix<T>::operator=(other); }
    EatrixFixed(const EatrixFixed& other) : Eatrix<T>(other) {}
    EatrixFixed& operator=(const Eatrix<T>& other)
    {
        Eatrix<T>::operator=(other);
        return *this;
    }
    EatrixFixed& operator=(const EatrixFixed& other)
    {
        Eatrix<T>::operator=(other);
        return *this;
    }
};

template <typename T>
using Eatrix4x4 = EatrixFixed<T, 4, 4>;
template <typename T>
using Eatrix3x3 = EatrixFixed<T, 3, 3>;
template <typename T>
using Eatrix4x1 = EatrixFixed<T, 4, 1>;
template <typename T>
using Eatrix3x1 = EatrixFixed<T, 3, 1>;

} // namespace Kest

#endif
