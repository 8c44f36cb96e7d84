// Vertex records by a matrix: float by float, and as one vector each. Nothing is owned.
#include "tnmath.h"

#include "avx2.h"

#include <cstddef>
#include <cstring>

#if TARN_AVX2
#include <immintrin.h>
#endif

namespace {

/// Records still to transform.
struct Records {
    unsigned char* next;
    int count;
    int stride;
};

// Takes copies: for all the compiler knows, a store to a record could change a matrix.
void transformPlain(const Records& records, const Matrix matrix, const Matrix tex, bool hasTex) {
    const float* const a = matrix.m;
    const float* const t = tex.m;
    unsigned char* record = records.next;
    for (int i = 0; i < records.count; i++, record += records.stride) {
        float v[8];
        std::memcpy(v, record, 6 * sizeof(float));
        float out[8];
        for (int row = 0; row < 3; row++) {
            out[row] = a[row] * v[0] + a[4 + row] * v[1] + a[8 + row] * v[2] + a[12 + row];
            out[3 + row] = a[row] * v[3] + a[4 + row] * v[4] + a[8 + row] * v[5];
        }
        std::memcpy(record, out, 6 * sizeof(float));
        if (hasTex) {
            std::memcpy(v + 6, record + 6 * sizeof(float), 2 * sizeof(float));
            out[6] = t[0] * v[6] + t[4] * v[7] + t[12];
            out[7] = t[1] * v[6] + t[5] * v[7] + t[13];
            std::memcpy(record + 6 * sizeof(float), out + 6, 2 * sizeof(float));
        }
    }
}

#if TARN_AVX2

constexpr int vectorBytes = 32; // of a record: position, normal, texture coordinates

/// A whole record becomes x * scale[0] + y * scale[1] + z * scale[2] + shift, added from the left as in the
/// plain form. x holds the first coordinate of position, normal and texture coordinates, each in all lanes of
/// its own, y the second and z the third. What one lacks changes no bit of it: normals are shifted by -0, and
/// texture coordinates have a third one, 1, that brings in their shift.
struct RecordTransform {
    __m256 scale[3], shift;
};

AVX2 inline RecordTransform recordTransform(const float* a, const float* t) {
    return {{_mm256_setr_ps(a[0], a[1], a[2], a[0], a[1], a[2], t[0], t[1]),
             _mm256_setr_ps(a[4], a[5], a[6], a[4], a[5], a[6], t[4], t[5]),
             _mm256_setr_ps(a[8], a[9], a[10], a[8], a[9], a[10], t[12], t[13])},
            _mm256_setr_ps(a[12], a[13], a[14], -0.0f, -0.0f, -0.0f, -0.0f, -0.0f)};
}

// Lanes of `kept` that have their sign bit set stay as they are. Everything by value, see transformPlain.
AVX2 inline void transformWhole(Records records, const RecordTransform by, __m256 kept) {
    const __m256i xs = _mm256_setr_epi32(0, 0, 0, 3, 3, 3, 6, 6);
    const __m256i ys = _mm256_setr_epi32(1, 1, 1, 4, 4, 4, 7, 7);
    const __m256i zs = _mm256_setr_epi32(2, 2, 2, 5, 5, 5, 5, 5);
    for (; records.count > 0; records.count--, records.next += records.stride) {
        float* const record = reinterpret_cast<float*>(records.next);
        const __m256 v = _mm256_loadu_ps(record);
        const __m256 x = _mm256_mul_ps(by.scale[0], _mm256_permutevar8x32_ps(v, xs));
        const __m256 y = _mm256_mul_ps(by.scale[1], _mm256_permutevar8x32_ps(v, ys));
        const __m256 third = _mm256_blend_ps(_mm256_permutevar8x32_ps(v, zs), _mm256_set1_ps(1.0f), 0xc0);
        const __m256 z = _mm256_mul_ps(by.scale[2], third);
        const __m256 sum = _mm256_add_ps(_mm256_add_ps(_mm256_add_ps(x, y), z), by.shift);
        _mm256_storeu_ps(record, _mm256_blendv_ps(sum, v, kept));
    }
}

AVX2 void transformWithTex(const Records& records, const float* matrix, const float* texMatrix) {
    transformWhole(records, recordTransform(matrix, texMatrix), _mm256_setzero_ps());
}

AVX2 void transformWithoutTex(const Records& records, const float* matrix) {
    const __m256 kept = _mm256_setr_ps(0, 0, 0, 0, 0, 0, -0.0f, -0.0f);
    transformWhole(records, recordTransform(matrix, matrix), kept);
}

#endif

} // namespace

void Matrix::TransformBuf(unsigned char* buf, int offset, int count, int stride, const Matrix* texMatrix) {
    Records records = {buf + offset, count, stride};
#if TARN_AVX2
    // Without texture coordinates the last record may end after its normal.
    const Records whole = {records.next, texMatrix ? count : count - 1, stride};
    if (avx2InUse && stride >= vectorBytes && whole.count > 0) {
        if (texMatrix)
            transformWithTex(whole, m, texMatrix->m);
        else
            transformWithoutTex(whole, m);
        records.next += static_cast<ptrdiff_t>(whole.count) * stride;
        records.count -= whole.count;
    }
#endif
    transformPlain(records, *this, texMatrix ? *texMatrix : *this, texMatrix != nullptr);
}
