// Matrices, the matrix stack and small vectors for what the engine transforms on the processor.
// Plain values throughout: nothing here owns or allocates memory.
#pragma once

// Conventions are OpenGL's, so that a matrix built here equals one built with glTranslatef, glRotatef and
// glScalef: columns first, vertices as column vectors, and each new transform takes effect on vertices before
// those that the matrix already holds. One thing differs: angles are in radians.

inline constexpr float TO_RAD = 0.017453292f;     // degrees to radians
inline constexpr float TO_DEGREES = 57.29578f;    // radians to degrees
inline constexpr float TURNS_TO_DEGREES = 180.0f; // a script's turn is half a revolution

/// A 4x4 matrix and nothing else: it may be copied as 16 floats or handed to OpenGL as it is.
class Matrix {
public:
    float m[16]; // row i of column j is m[j * 4 + i]; the translation is m[12], m[13], m[14]

    /// The identity.
    Matrix();
    void Identity();
    /// Copies other.
    void Assign(const Matrix* other);
    /// Sets one element; index is 0 to 15.
    void SetVal(int index, float value);
    /// this = other * this; other may be this.
    void Multiply(const Matrix* other);
    /// this = this * scaling.
    void Scale(float x, float y, float z);
    /// this = this * translation.
    void Translate(float x, float y, float z);
    /// this = this * right-handed rotation by angle radians about the axis (x, y, z), which need not have
    /// unit length. An axis too short to normalise (Normalize3) is used as it is: the zero axis scales by
    /// cos(angle).
    void Rotate(float x, float y, float z, float angle);
    /// Transforms count vertex records in place, at buf + offset + i * stride bytes: floats 0 to 2 as a
    /// position, 3 to 5 as a normal (upper left 3x3 part only, not made unit length again) and, where
    /// texMatrix is given, 6 and 7 as texture coordinates by that matrix. Records need no alignment. Without
    /// texMatrix no byte beyond the six floats is touched.
    void TransformBuf(unsigned char* buf, int offset, int count, int stride, const Matrix* texMatrix);
};

/// A stack of 16 matrices. It always has a top; entries above it mean nothing.
class MatrixStack {
public:
    Matrix entries[16];
    int depth; // index of the top, 0 to 15

    /// Holds one identity.
    MatrixStack();
    /// Copies the top to a new one; on a full stack prints an error and changes nothing.
    void Push();
    /// Drops the top; at the bottom prints an error and changes nothing.
    void Pop();
    /// The top, valid until the next Push, Pop or Reset.
    Matrix* Ptr() { return &entries[depth]; }
    /// Back to one identity.
    void Reset();

    // Matrix's operation of the same name, on the top
    void Scale(float x, float y, float z);
    void Rotate(float x, float y, float z, float angle);
    void Translate(float x, float y, float z);
};

/// Three floats.
class V3 {
public:
    float x, y, z;

    V3(float newX, float newY, float newZ) : x(newX), y(newY), z(newZ) {}
    /// Component i: 0 x, 1 y, 2 (and whatever lies above) z.
    float& operator[](unsigned int i) { return i == 0 ? x : i == 1 ? y : z; }
};

/// Four floats.
class V4 {
public:
    float x, y, z, w;

    V4(float newX, float newY, float newZ, float newW) : x(newX), y(newY), z(newZ), w(newW) {}
};

/// Scales (x, y, z) to unit length; a vector whose squared length is not above 1e-6 is left as it is.
void Normalize3(float& x, float& y, float& z);

/// The axis whose component of v has the given rank by magnitude (0 the largest, 2 the smallest; other ranks
/// count as the nearest of these). Of equal magnitudes the lower axis comes first.
/// @return 0, 1, 2 for -x, -y, -z and 3, 4, 5 for +x, +y, +z; a component of 0 counts as positive.
int LargestAxi(V3& v, int rank);

/// The space mapper's projections of a moving point and a wall:
///   out4 = a7 * a6 - a5 * a8
///   out0 = a11 * a1 + a12 * a2 + out4        out2 = a9 * a5 + a10 * a6 + a0
///   out1 = a11 * a3 + a12 * a4 + out4        out3 = a9 * a7 + a10 * a8 + a0
/// a13 is not used.
void FindDirections(float& out0, float& out1, float& out2, float& out3, float& out4, float a0, float a1,
                    float a2, float a3, float a4, float a5, float a6, float a7, float a8, float a9, float a10,
                    float a11, float a12, float a13);
