// Matrices, the matrix stack and small vectors.
// Works on plain values; nothing is owned or allocated.
#include "tnmath.h"

#include <cmath>
#include <cstdio>
#include <utility>

// Matrix

Matrix::Matrix() {
    Identity();
}

void Matrix::Identity() {
    for (int i = 0; i < 16; i++)
        m[i] = i % 5 == 0 ? 1.0f : 0.0f;
}

void Matrix::Assign(const Matrix* other) {
    *this = *other;
}

void Matrix::SetVal(int index, float value) {
    m[index] = value;
}

void Matrix::Multiply(const Matrix* other) {
    Matrix product;
    for (int column = 0; column < 4; column++) {
        for (int row = 0; row < 4; row++) {
            float sum = 0.0f;
            for (int i = 0; i < 4; i++)
                sum += other->m[i * 4 + row] * m[column * 4 + i];
            product.m[column * 4 + row] = sum;
        }
    }
    *this = product;
}

void Matrix::Scale(float x, float y, float z) {
    Matrix scaling;
    scaling.m[0] = x;
    scaling.m[5] = y;
    scaling.m[10] = z;
    scaling.Multiply(this);
    Assign(&scaling);
}

void Matrix::Translate(float x, float y, float z) {
    Matrix translation;
    translation.m[12] = x;
    translation.m[13] = y;
    translation.m[14] = z;
    translation.Multiply(this);
    Assign(&translation);
}

void Matrix::Rotate(float x, float y, float z, float angle) {
    Normalize3(x, y, z);
    const float cs = std::cos(angle);
    const float sn = std::sin(angle);
    const float t = 1.0f - cs;
    Matrix rotation;
    float* r = rotation.m;
    r[0] = t * (x * x - 1.0f) + 1.0f;
    r[1] = z * sn + x * t * y;
    r[2] = -y * sn + x * t * z;
    r[4] = -z * sn + x * t * y;
    r[5] = t * (y * y - 1.0f) + 1.0f;
    r[6] = x * sn + y * t * z;
    r[8] = y * sn + x * t * z;
    r[9] = -x * sn + y * t * z;
    r[10] = t * (z * z - 1.0f) + 1.0f;
    rotation.Multiply(this);
    Assign(&rotation);
}

// MatrixStack

MatrixStack::MatrixStack() : depth(0) {}

void MatrixStack::Push() {
    if (depth >= 15) {
        printf("Error: Matrix Stack Push limit breached.\n");
        return;
    }
    entries[depth + 1] = entries[depth];
    depth++;
}

void MatrixStack::Pop() {
    if (depth == 0) {
        printf("Error: Matrix Stack Pop limit breached.\n");
        return;
    }
    depth--;
}

void MatrixStack::Reset() {
    depth = 0;
    entries[0].Identity();
}

void MatrixStack::Scale(float x, float y, float z) {
    Ptr()->Scale(x, y, z);
}

void MatrixStack::Rotate(float x, float y, float z, float angle) {
    Ptr()->Rotate(x, y, z, angle);
}

void MatrixStack::Translate(float x, float y, float z) {
    Ptr()->Translate(x, y, z);
}

// Vectors

void Normalize3(float& x, float& y, float& z) {
    const float squaredLength = x * x + y * y + z * z;
    if (squaredLength > 1e-6f) {
        const float factor = 1.0f / std::sqrt(squaredLength);
        x *= factor;
        y *= factor;
        z *= factor;
    }
}

int LargestAxi(V3& v, int rank) {
    unsigned axes[3] = {0, 1, 2};
    for (int first : {1, 0, 1}) {
        if (std::fabs(v[axes[first]]) < std::fabs(v[axes[first + 1]]))
            std::swap(axes[first], axes[first + 1]);
    }
    const unsigned axis = axes[rank < 0 ? 0 : rank > 2 ? 2 : rank];
    return static_cast<int>(axis) + (v[axis] >= 0.0f ? 3 : 0);
}

void FindDirections(float& out0, float& out1, float& out2, float& out3, float& out4, float a0, float a1,
                    float a2, float a3, float a4, float a5, float a6, float a7, float a8, float a9, float a10,
                    float a11, float a12, float /*a13*/) {
    out4 = a7 * a6 - a5 * a8;
    out0 = a11 * a1 + a12 * a2 + out4;
    out1 = a11 * a3 + a12 * a4 + out4;
    out2 = a9 * a5 + a10 * a6 + a0;
    out3 = a9 * a7 + a10 * a8 + a0;
}
