// Image files through Texture::Load, into a real context.
#include "fuzz_common.h"
#include "fuzz_gl.h"
#include "materials.h"
#include "materials_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    useHiddenContext();
    enterScratchDirectory();
    writeBytes("image", bytes, count);
    Texture texture;
    if (texture.Load("image", false)) {
        FUZZ_CHECK(texture.texId != 0 && texture.width > 0 && texture.height > 0);
        // No header may hide from us what the library then read in it.
        DataBlock file;
        file.Append(bytes, static_cast<int>(count));
        const ImageSize announced = AnnouncedImageSize(file);
        FUZZ_CHECK(announced.width >= texture.width && announced.height >= texture.height);
    } else
        FUZZ_CHECK(texture.texId == 0 && texture.width == 0 && texture.height == 0);
    dropTextures();
    return 0;
}
