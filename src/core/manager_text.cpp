// The cache of text meshes. The manager owns its texts and destroys them when it drops them.
#include "manager.h"

#include <cmath>
#include <cstring>

/// What a text is found by.
struct TextKey {
    const char* string;
    std::size_t length;
    GeomTextParams layout;
    std::uint32_t hash;
};

namespace {

// The bits of a float, with one zero for the two that compare as equal.
std::uint32_t floatBits(float value) {
    value += 0.0f;
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

TextKey keyOf(const char* text, const GeomTextParams* params) {
    TextKey key{text ? text : "", 0, params ? *params : GeomTextParams(), 0};
    key.length = std::strlen(key.string);
    const GeomTextParams& layout = key.layout;
    const std::uint64_t spacings = floatBits(layout.spacing) | std::uint64_t{floatBits(layout.lineSpacing)}
                                                                   << 32;
    key.hash = hashBytes(key.string, key.length, spacings + static_cast<unsigned>(layout.align));
    return key;
}

bool matches(const TextObj& text, const TextKey& key) {
    return text.hash == key.hash && text.align == key.layout.align && text.spacing == key.layout.spacing &&
           text.lineSpacing == key.layout.lineSpacing &&
           static_cast<std::size_t>(text.text.len) == key.length &&
           (key.length == 0 || std::memcmp(text.text.data, key.string, key.length) == 0);
}

// A spacing that is not a number equals nothing, itself included: such a text is never found again.
bool canMatch(const TextObj& text) {
    return text.spacing == text.spacing && text.lineSpacing == text.lineSpacing;
}

} // namespace

TextManager::~TextManager() {
    while (texts.Count() > 0)
        delete static_cast<TextObj*>(texts.Pop(-1));
}

int TextManager::AddText(const char* text, GeomTextParams* params) {
    return priv_Add(keyOf(text, params), params)->id;
}

// Ids only grow, so the texts, oldest first, are sorted by them.
void TextManager::Draw(int id) {
    int first = 0;
    int last = texts.Count();
    while (first < last) {
        const int middle = first + (last - first) / 2;
        if (static_cast<TextObj*>(texts.Get(middle))->id < id)
            first = middle + 1;
        else
            last = middle;
    }
    auto* text = static_cast<TextObj*>(texts.Get(first));
    if (text && text->id == id)
        priv_Draw(text);
}

void TextManager::CreateDrawText(const char* text, GeomTextParams* params) {
    UseText(text, params)->mesh.Draw();
}

TextObj* TextManager::UseText(const char* text, GeomTextParams* params) {
    const TextKey key = keyOf(text, params);
    TextObj* cached = priv_Find(key);
    TextObj* used = cached ? cached : priv_Add(key, params);
    used->lastDrawn = curTime;
    return used;
}

void TextManager::TimeStep(float now, float delta) {
    curTime = now;
    if (std::trunc(now) != std::trunc(now - delta))
        priv_DropOldTexts();
}

TextObj* TextManager::priv_Find(const TextKey& key) const {
    int step = 0;
    for (int i = index.Next(key.hash, &step); i >= 0; i = index.Next(key.hash, &step)) {
        auto* text = static_cast<TextObj*>(texts.Get(i));
        if (matches(*text, key))
            return text;
    }
    return nullptr;
}

TextObj* TextManager::priv_Add(const TextKey& key, GeomTextParams* params) {
    auto* added = new TextObj;
    added->id = ++lastId;
    added->text.Assign(key.string);
    added->align = key.layout.align;
    added->spacing = key.layout.spacing;
    added->lineSpacing = key.layout.lineSpacing;
    added->hash = key.hash;
    added->mesh.CreateText(key.string, &font, params);
    texts.Add(added);
    priv_Index(texts.Count() - 1);
    return added;
}

void TextManager::priv_Draw(TextObj* text) {
    text->mesh.Draw();
    text->lastDrawn = curTime;
}

void TextManager::priv_DropOldTexts() {
    int kept = 0;
    for (int i = 0; i < texts.Count(); i++) {
        auto* text = static_cast<TextObj*>(texts.items[i]);
        if (curTime - text->lastDrawn > keepTime)
            delete text;
        else
            texts.items[kept++] = text;
    }
    if (kept == texts.Count())
        return;
    while (texts.Count() > kept)
        texts.Pop(-1);
    // The others moved up, and a younger text may now be the oldest of its kind.
    index.Clear();
    for (int i = 0; i < kept; i++)
        priv_Index(i);
}

void TextManager::priv_Index(int place) {
    const auto& text = *static_cast<TextObj*>(texts.Get(place));
    const char* string = reinterpret_cast<const char*>(text.text.data);
    const TextKey key{string,
                      static_cast<std::size_t>(text.text.Len()),
                      {text.align, text.spacing, text.lineSpacing},
                      text.hash};
    if (canMatch(text) && !priv_Find(key))
        index.Add(key.hash, place);
}
