// tarnmacro IN OUT: translates a script in the macro dialect into plain Lua. Warnings about the script go to
// stdout, errors to stderr. Exit status: 0 done, 1 a file cannot be read or written, 2 wrong usage.
#include "datablock.h"
#include "macroProcessor.h"
#include "strfuncs.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace {

bool writeFile(const std::string& path, DataBlock& block) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(block.CStr(), block.Len());
    file.close();
    return !file.fail();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: tarnmacro IN OUT\n");
        return 2;
    }
    const std::string in = nativePath(argv[1]), out = nativePath(argv[2]);
    DataBlock source, translated;
    if (!source.ReadFile(in.c_str())) {
        fprintf(stderr, "tarnmacro: cannot read %s\n", in.c_str());
        return 1;
    }
    ProcessLuaMacros(&source, &translated, false, false);
    if (!writeFile(out, translated)) {
        fprintf(stderr, "tarnmacro: cannot write %s\n", out.c_str());
        return 1;
    }
    return 0;
}
