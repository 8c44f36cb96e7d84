// The cache of text meshes. The manager owns its texts and destroys them when it drops them.
#include "manager.h"

#include <cmath>

TextManager::~TextManager() {
    while (texts.Count() > 0)
        delete static_cast<TextObj*>(texts.Pop(-1));
}

int TextManager::AddText(const char* text, GeomTextParams* params) {
    const char* shown = text ? text : "";
    const GeomTextParams layout = params ? *params : GeomTextParams();
    auto* added = new TextObj;
    added->id = ++lastId;
    added->text.Assign(shown);
    added->align = layout.align;
    added->spacing = layout.spacing;
    added->lineSpacing = layout.lineSpacing;
    added->mesh.CreateText(shown, &font, params);
    texts.Add(added);
    return added->id;
}

void TextManager::Draw(int id) {
    for (int i = 0; i < texts.Count(); i++) {
        auto* text = static_cast<TextObj*>(texts.Get(i));
        if (text->id == id) {
            priv_Draw(text);
            return;
        }
    }
}

void TextManager::CreateDrawText(const char* text, GeomTextParams* params) {
    const char* shown = text ? text : "";
    const GeomTextParams key = params ? *params : GeomTextParams();
    for (int i = 0; i < texts.Count(); i++) {
        auto* cached = static_cast<TextObj*>(texts.Get(i));
        if (cached->align == key.align && cached->spacing == key.spacing &&
            cached->lineSpacing == key.lineSpacing && cached->text.IsEqual(shown)) {
            priv_Draw(cached);
            return;
        }
    }
    Draw(AddText(shown, params));
}

void TextManager::TimeStep(float now, float delta) {
    curTime = now;
    if (std::trunc(now) != std::trunc(now - delta))
        priv_DropOldTexts();
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
    while (texts.Count() > kept)
        texts.Pop(-1);
}
