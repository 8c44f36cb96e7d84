// OBJ text: every object of a file, as the geometry manager reads it.
#include "fuzz_common.h"
#include "geometry.h"

namespace {

void checkMesh(const Geometry& mesh) {
    FUZZ_CHECK(mesh.triCount >= 0 && mesh.tris.Len() == mesh.triCount * 96);
    FUZZ_CHECK(mesh.quadCount >= 0 && mesh.quads.Len() == mesh.quadCount * 128);
    FUZZ_CHECK(mesh.triCount == 0 || mesh.triData == reinterpret_cast<float*>(mesh.tris.Ptr()));
    FUZZ_CHECK(mesh.quadCount == 0 || mesh.quadData == reinterpret_cast<float*>(mesh.quads.Ptr()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    DataBlock file;
    file.ResizeDim(static_cast<int>(count)); // exactly as long as a file that was read
    file.Append(bytes, static_cast<int>(count));
    ObjCollectedVertData collected;
    int pos = 0;
    bool atEnd = false;
    while (!atEnd) {
        const int before = pos;
        Geometry mesh;
        ExactText name("", 32);
        atEnd = mesh.LoadOBJFileSegment(&file, &pos, &collected, name);
        checkMesh(mesh);
        FUZZ_CHECK(strnlen(name, 32) < 32);
        FUZZ_CHECK(atEnd || (pos > before && pos < file.Len()));
    }
    FUZZ_CHECK(file.Len() == static_cast<int>(count));
    FUZZ_CHECK(collected.positions.ValCount() % 3 == 0 && collected.texCoords.ValCount() % 2 == 0);
    return 0;
}
