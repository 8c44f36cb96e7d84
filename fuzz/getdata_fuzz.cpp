// DataBlock under a random sequence of calls: words and formats read at any position, lines, and every way of
// filling and cutting a block, its own storage as the source included.
#include "datablock.h"
#include "fuzz_common.h"

namespace {

constexpr int kMostBytes = 1 << 16; // keeps a run short; the block's own limit is what an int counts

void checkWord(const char* word) {
    FUZZ_CHECK(strnlen(word, 32) < 32);
    FUZZ_CHECK(!strpbrk(word, " \n\r"));
}

// One call of GetData whose format is made of the input, with a target of the right size for each letter.
void getData(DataBlock& block, ByteFeed& feed, int* pos) {
    static const char* const formats[] = {"w",   "f",    "i",    "c", "www", "fff",
                                          "iff", "cfff", "fwic", "",  "x?w", "wwww"};
    const char* fmt = formats[feed.Choice(12)];
    ExactText words[4] = {ExactText("", 32), ExactText("", 32), ExactText("", 32), ExactText("", 32)};
    float floats[4];
    int whole;
    char byte;
    switch (fmt[0]) {
    case 'w':
        block.GetData(pos, fmt, static_cast<char*>(words[0]), static_cast<char*>(words[1]),
                      static_cast<char*>(words[2]), static_cast<char*>(words[3]));
        for (const ExactText& word : words)
            checkWord(word);
        return;
    case 'i':
        block.GetData(pos, fmt, &whole, floats, floats + 1);
        return;
    case 'c':
        block.GetData(pos, fmt, &byte, floats, floats + 1, floats + 2);
        return;
    case 'x':
        block.GetData(pos, fmt, static_cast<char*>(words[0]));
        return;
    default:
        if (strcmp(fmt, "fwic") == 0)
            block.GetData(pos, fmt, floats, static_cast<char*>(words[0]), &whole, &byte);
        else
            block.GetData(pos, fmt, floats, floats + 1, floats + 2);
    }
}

void read(DataBlock& block, ByteFeed& feed, int* pos) {
    const int before = pos ? *pos : 0;
    switch (feed.Choice(5)) {
    case 0:
    case 1:
        getData(block, feed, pos);
        break;
    case 2:
        block.SkipToNextLine(pos);
        break;
    case 3:
        block.ToBeginningOfLine(pos);
        break;
    default: {
        static const char* const formats[] = {"f", "cfff", "w", "", "fffiiiccc"};
        const char* fmt = formats[feed.Choice(5)];
        const int times = feed.Int();
        block.SkipData(pos, fmt, times);
        FUZZ_CHECK(!pos || times < 0 || *pos >= before);
    }
    }
    FUZZ_CHECK(!pos || *pos >= 0);
}

void fill(DataBlock& block, ByteFeed& feed, int* pos) {
    const int room = kMostBytes - block.Len();
    switch (feed.Choice(12)) {
    case 0: {
        const std::string text = feed.Text(static_cast<std::size_t>(feed.Byte()));
        block.Append(text.data(), static_cast<int>(text.size()));
        break;
    }
    case 1:
        if (room > 0 && block.Len() <= room)
            block.Append(&block);
        break;
    case 2: // a piece of its own storage
        if (block.Len() > 0) {
            const int from = feed.Byte() % block.Len();
            block.Append(block.Ptr() + from, feed.Byte() % (block.Len() - from + 1));
        }
        break;
    case 3:
        block.Append(static_cast<const unsigned char*>(nullptr), feed.Flag() ? feed.Byte() : -feed.Byte());
        break;
    case 4:
        block.Resize(feed.Flag() ? feed.Int() % kMostBytes : -1);
        block.ZeroData();
        break;
    case 5:
        block.ResizeDim(feed.Int() % kMostBytes);
        break;
    case 6:
        block.Assign(block.CStr());
        break;
    case 7:
        block.SetString(block.CStr());
        block.RemoveEndNulls();
        break;
    case 8:
        block.AssignFromDirectory(feed.Flag() ? block.CStr() : ExactText(feed.Text(40)));
        break;
    case 9:
        block.AssignFromFileFormat(feed.Flag() ? block.CStr() : ExactText(feed.Text(40)));
        break;
    case 10:
        block.AppendData("fic?", feed.Double(), feed.Int(), feed.Byte());
        break;
    default:
        block.SetData(pos, "ffic", feed.Double(), feed.Double(), feed.Int(), feed.Byte());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    ByteFeed feed(bytes, count);
    DataBlock block;
    FloatDataBlock floats;
    int cursor = feed.Flag() ? feed.Int() : 0;
    int* pos = &cursor;
    const std::string start = feed.Text(static_cast<std::size_t>(feed.Byte()));
    block.ResizeDim(static_cast<int>(start.size()));
    block.Append(start.data(), static_cast<int>(start.size()));
    while (!feed.Empty() && block.Len() < kMostBytes) {
        const int operation = feed.Choice(8);
        if (operation < 5)
            read(block, feed, feed.Byte() == 7 ? nullptr : pos);
        else if (operation < 7)
            fill(block, feed, pos);
        else if (feed.Flag())
            cursor = feed.Int();
        else
            floats.AddVal(feed.Float());
        FUZZ_CHECK(block.Len() >= 0 && block.Len() <= block.dim && (block.data || block.dim == 0));
    }
    FUZZ_CHECK(strlen(block.CStr()) <= static_cast<std::size_t>(block.Len()));
    const int index = feed.Int();
    const bool held = index >= 0 && index < floats.ValCount();
    FUZZ_CHECK(held || floats.GetVal(index) == 0.0f);
    return 0;
}
