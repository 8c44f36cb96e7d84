// Projection helpers that act on OpenGL's matrices directly.
#pragma once

#include "tnmath.h"

/// Loads a view transform into the current matrix: the eye looks at the target with +z up on the screen.
/// A view straight along z has no such up direction and leaves the matrix degenerate, as gluLookAt does.
void LookAtV3(const V3& target, const V3& eye);

/// Pushes the projection matrix; the model-view matrix is current afterwards.
void PushProjection();

/// Pops the projection matrix; the model-view matrix is current afterwards.
void PopProjection();
