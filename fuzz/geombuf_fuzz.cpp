// Geometry buffers: records of the binary mesh format one after another, then merging what was read under a
// transform of any bits, and text laid out with any numbers.
#include "fuzz_common.h"
#include "geometry.h"
#include "tnmath.h"

namespace {

void checkMesh(const Geometry& mesh) {
    FUZZ_CHECK(mesh.triCount >= 0 && mesh.tris.Len() == mesh.triCount * 96);
    FUZZ_CHECK(mesh.quadCount >= 0 && mesh.quads.Len() == mesh.quadCount * 128);
}

void readRecords(Geometry& mesh, const std::string& bytes, int pos) {
    DataBlock data;
    data.ResizeDim(static_cast<int>(bytes.size()));
    data.Append(bytes.data(), static_cast<int>(bytes.size()));
    for (bool moves = true; moves && pos < data.Len();) {
        const int before = pos;
        mesh.LoadFromBufferSegment(&data, &pos);
        checkMesh(mesh);
        moves = pos != before;
        FUZZ_CHECK(pos <= data.Len());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    ByteFeed feed(bytes, count);
    const int mode = feed.Choice(8);
    Geometry mesh, merged;
    if (mode & 1) {
        Matrix transform, texTransform;
        for (int i = 0; i < 16; ++i) {
            transform.m[i] = feed.Float();
            texTransform.m[i] = mode & 2 ? feed.Float() : transform.m[i];
        }
        readRecords(mesh, feed.Rest(), 0);
        merged.AddGeometry(&mesh, &transform, mode & 4 ? &texTransform : nullptr);
        merged.AddGeometry(&merged, &transform, &texTransform);
        checkMesh(merged);
        FUZZ_CHECK(merged.triCount == 2 * mesh.triCount && merged.quadCount == 2 * mesh.quadCount);
    } else if (mode & 2) {
        GeomTextParams params;
        params.align = feed.Int();
        params.spacing = feed.Float();
        params.lineSpacing = feed.Float();
        FontProps font;
        const ExactText text(feed.Rest());
        mesh.CreateText(text, &font, mode & 4 ? &params : nullptr);
        checkMesh(mesh);
        FUZZ_CHECK(mesh.quadCount <= static_cast<int>(count));
    } else {
        const int pos = mode & 4 ? feed.Int() : 0;
        readRecords(mesh, feed.Rest(), pos);
    }
    return 0;
}
