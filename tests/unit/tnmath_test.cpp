// Matrices by the points they move, records in place, the stack's limits, vectors.
#include "tnmath.h"

#include "avx2.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

/// Expects where a matrix puts the point (x, y, z).
void expectPut(Matrix& matrix, float x, float y, float z, const std::vector<float>& wanted) {
    float record[6] = {x, y, z, 0, 0, 0};
    matrix.TransformBuf(reinterpret_cast<unsigned char*>(record), 0, 1, 24, nullptr);
    for (size_t i = 0; i < 3; i++)
        EXPECT_NEAR(record[i], wanted[i], 1e-5f) << "at " << i;
}

} // namespace

TEST(Tnmath, LaterTransformsActFirst) {
    Matrix first, second, permuting, zeroAxis;
    first.Translate(1, 0, 0);
    first.Scale(2, 3, 2);
    expectPut(first, 1, 1, 0, {3, 3, 0});
    second.Scale(2, 2, 2);
    second.Translate(1, 0, 0);
    second.Rotate(0, 0, 2, 90 * TO_RAD);
    expectPut(second, 1, 0, 0, {2, 2, 0});
    second.Multiply(&first);
    expectPut(second, 1, 0, 0, {5, 6, 0});
    first.Multiply(&first); // its own operand
    expectPut(first, 1, 1, 0, {7, 9, 0});
    permuting.Rotate(5, 5, 5, 120 * TO_RAD);
    expectPut(permuting, 1, 2, 3, {3, 1, 2});
    zeroAxis.Rotate(0, 0, 0, 60 * TO_RAD);
    expectPut(zeroAxis, 2, 4, 6, {1, 2, 3});
}

TEST(Tnmath, TransformsRecordsInPlaceAtAnyAlignment) {
    Matrix matrix, texture;
    matrix.Translate(10, 20, 30);
    matrix.Scale(1, 2, 1);
    texture.SetVal(4, 2.0f);
    texture.Translate(0.5f, 0.25f, 9);
    const float record[8] = {1, 2, 3, 0, 1, 0, 0.5f, 0.5f}, wanted[8] = {11, 24, 33, 0, 2, 0, 2.5f, 0.75f};
    unsigned char bytes[81];
    for (int start : {1, 41})
        std::memcpy(bytes + start, record, 32);
    matrix.TransformBuf(bytes, 1, 1, 40, &texture); // the first record only
    EXPECT_EQ(std::memcmp(bytes + 1, wanted, 32) | std::memcmp(bytes + 41, record, 32), 0);
}

// Rough numbers among plain ones: what is left out, or added as a nought, must not show.
TEST(Tnmath, TransformsTheSameBitsInEveryForm) {
    const float rough[] = {0.0f, -0.0f, INFINITY, -INFINITY, NAN, 1e-40f, -3e38f, 1.0f};
    std::mt19937 random(9);
    const auto fill = [&random, &rough](float* numbers, size_t count) {
        for (size_t i = 0; i < count; i++)
            numbers[i] = random() % 8 ? static_cast<float>(random()) / 3e8f - 7 : rough[random() % 8];
    };
    for (int round = 0; round < 5000; round++) {
        const int count = static_cast<int>(random() % 6), stride = 24 + 4 * static_cast<int>(random() % 5);
        Matrix matrix, texture;
        fill(matrix.m, 16);
        fill(texture.m, 16);
        const bool hasTex = stride >= 32 && round % 2;
        float numbers[64];
        fill(numbers, 64);
        const int unused = count > 0 && !hasTex ? stride - 24 : 0; // the last record ends after its normal
        std::vector<unsigned char> fast(static_cast<size_t>(1 + count * stride - unused));
        std::memcpy(fast.data() + 1, numbers, fast.size() - 1);
        std::vector<unsigned char> plain = fast;
        matrix.TransformBuf(fast.data(), 1, count, stride, hasTex ? &texture : nullptr);
        avx2InUse = false;
        matrix.TransformBuf(plain.data(), 1, count, stride, hasTex ? &texture : nullptr);
        avx2InUse = hasAvx2();
        for (size_t i = 1; i + 4 <= fast.size(); i += 4) {
            float a, b;
            std::memcpy(&a, &fast[i], 4);
            std::memcpy(&b, &plain[i], 4);
            ASSERT_TRUE(std::memcmp(&a, &b, 4) == 0 || (std::isnan(a) && std::isnan(b)))
                << round << ", " << i;
        }
    }
}

TEST(Tnmath, StackKeepsItsLimits) {
    MatrixStack stack;
    testing::internal::CaptureStdout();
    stack.Pop();
    stack.Translate(1, 2, 3);
    for (int i = 0; i < 16; i++)
        stack.Push();
    EXPECT_EQ(stack.depth, 15);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: Matrix Stack Pop limit breached.\n"
                                                      "Error: Matrix Stack Push limit breached.\n");
    stack.Scale(2, 2, 2);
    expectPut(*stack.Ptr(), 1, 1, 1, {3, 4, 5});
    stack.Pop();
    expectPut(*stack.Ptr(), 1, 1, 1, {2, 3, 4});
}

TEST(Tnmath, RanksAxesAndProjects) {
    V3 v(1, -5, 5), rising(1, 2, 3), tied(0, 0, 0);
    for (int rank = 0; rank < 3; rank++) {
        EXPECT_EQ(LargestAxi(v, rank), rank == 0 ? 1 : rank == 1 ? 5 : 3);
        EXPECT_EQ(LargestAxi(rising, rank), 5 - rank);
        EXPECT_EQ(LargestAxi(tied, rank), 3 + rank);
    }
    float out[5], shortest = 0.0001f, zero = 0.0f;
    Normalize3(shortest, zero, zero);
    EXPECT_EQ(shortest, 0.0001f);
    FindDirections(out[0], out[1], out[2], out[3], out[4], 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14);
    EXPECT_EQ(std::vector<float>(out, out + 5), (std::vector<float>{65, 115, 138, 180, 2}));
}
