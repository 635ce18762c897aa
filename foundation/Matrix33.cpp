#include "foundation/Matrix33.h"

namespace Vespra {

Matrix33 Matrix33::inverse() const {
    // Cofactors in double precision, so that a matrix and its inverse multiply to the
    // identity within float rounding.
    const auto a = [this](int i, int j) { return double(m[i][j]); };
    const double c00 = a(1, 1) * a(2, 2) - a(1, 2) * a(2, 1);
    const double c01 = a(1, 2) * a(2, 0) - a(1, 0) * a(2, 2);
    const double c02 = a(1, 0) * a(2, 1) - a(1, 1) * a(2, 0);
    const double determinant = a(0, 0) * c00 + a(0, 1) * c01 + a(0, 2) * c02;
    const double s = 1.0 / determinant;
    Matrix33 r;
    r.m[0][0] = float(c00 * s);
    r.m[0][1] = float((a(0, 2) * a(2, 1) - a(0, 1) * a(2, 2)) * s);
    r.m[0][2] = float((a(0, 1) * a(1, 2) - a(0, 2) * a(1, 1)) * s);
    r.m[1][0] = float(c01 * s);
    r.m[1][1] = float((a(0, 0) * a(2, 2) - a(0, 2) * a(2, 0)) * s);
    r.m[1][2] = float((a(0, 2) * a(1, 0) - a(0, 0) * a(1, 2)) * s);
    r.m[2][0] = float(c02 * s);
    r.m[2][1] = float((a(0, 1) * a(2, 0) - a(0, 0) * a(2, 1)) * s);
    r.m[2][2] = float((a(0, 0) * a(1, 1) - a(0, 1) * a(1, 0)) * s);
    return r;
}

} // namespace Vespra
