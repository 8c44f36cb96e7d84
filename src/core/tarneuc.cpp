// Projection helpers over OpenGL's matrix stacks.
#include "tarneuc.h"

#include "opengl.h"

void LookAtV3(const V3& target, const V3& eye) {
    glLoadIdentity();
    gluLookAt(eye.x, eye.y, eye.z, target.x, target.y, target.z, 0.0, 0.0, 1.0);
}

void PushProjection() {
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glMatrixMode(GL_MODELVIEW);
}

void PopProjection() {
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}
