// Macro text: the translator, with files to include that include themselves and each other.
#include "datablock.h"
#include "fuzz_common.h"
#include "macroProcessor.h"

namespace {

void write(const char* path, const char* text) {
    writeBytes(path, text, strlen(text));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    static const bool prepared = [] {
        enterScratchDirectory();
        write("a", "dofile 'a'\nx += 1\n");
        write("b", "dofile('c')\n\tdef f():\n");
        write("c", "dofile(\"b\")\nprint 1");
        write("d", "class A(B):\n\tdef f(x):\n\t\tif x:\n\t\t\tprint x\n");
        return true;
    }();
    if (count < 1)
        return 0;
    DataBlock input, output;
    input.ResizeDim(static_cast<int>(count) - 1);
    input.Append(bytes + 1, static_cast<int>(count) - 1);
    ProcessLuaMacros(&input, &output, (bytes[0] & 1) != 0, (bytes[0] & 2) != 0);
    FUZZ_CHECK(prepared && output.Len() <= 64 * 1024 * 1024 + 1);
    if (bytes[0] & 1)
        FUZZ_CHECK(output.Len() > 0 && output.Ptr()[output.Len() - 1] == 0);
    return 0;
}
