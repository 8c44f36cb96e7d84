// Shader meta text: splitting into stages and including files. Without a context nothing is compiled, so no
// driver is in the way.
#include "fuzz_common.h"
#include "materials.h"
#include "shadering.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    static const bool prepared = [] {
        enterScratchDirectory();
        std::filesystem::create_directories("include");
        writeBytes("include/a", "float a;\n#INCLUDE \"a\"\n", 23);
        writeBytes("include/nul", "x\0y", 3);
        return true;
    }();
    const ExactText text(std::string(reinterpret_cast<const char*>(bytes), count));
    unsigned program = 1, vertShader = 1, fragShader = 1;
    ParseShaderSrc(text, program, vertShader, fragShader, count % 2 ? "" : "./");
    FUZZ_CHECK(prepared && program == 0 && vertShader == 0 && fragShader == 0);
    if (count % 16 == 0) {
        writeBytes("meta.shad", bytes, count);
        Shader shader;
        FUZZ_CHECK(shader.LoadMetaFile("meta.shad") && shader.program == 0);
        makeprogram(program, vertShader, fragShader, "meta.shad", "meta.shad");
    }
    return 0;
}
