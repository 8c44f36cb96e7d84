// One function for each kind of content that brings an item up to date in its place.
#include "livecontent.h"

#include "drawjoin.h"
#include "luathingy.h"
#include "opengl.h"
#include "programs.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <vector>

namespace fs = std::filesystem;

namespace {

// Paths as scripts write them: either separator, "./" here and there.
std::string plainPath(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return fs::path(path).lexically_normal().string();
}

std::string includeDirectory(const std::string& shader) {
    return (fs::path(shader).parent_path() / "include").string() + '/';
}

// Where an update ends that consists of several.
ContentUpdate worst(ContentUpdate a, ContentUpdate b) {
    return std::max(a, b);
}

// What a file of a manager has been loaded into.
struct LoadedFile {
    std::string path;
    MediaManagerGroup* group;
    GroupFileItem* file;

    int Count() const { return file->lastItem - file->firstItem + 1; }
    const GroupItemEntry& Entry(int i) const { return group->entriesPtr[file->firstItem + i]; }
    template <class Item>
    Item* Get(MediaManager& manager, int i = 0) const {
        return reinterpret_cast<Item*>(manager.GetLoadedItem(Entry(i).globalIndex));
    }
};

// The registered files whose path passes the test.
template <class Test>
std::vector<LoadedFile> filesOf(MediaManager& manager, Test test) {
    std::vector<LoadedFile> found;
    for (int g = 0; g < manager.groups.Count(); ++g) {
        MediaManagerGroup* const group = manager.GetGroup(g);
        for (int f = 0; f < group->files.Count(); ++f) {
            auto* const file = static_cast<GroupFileItem*>(group->files.Get(f));
            const std::string path = plainPath(file->path.CStr());
            if (!path.empty() && file->lastItem >= file->firstItem && test(path))
                found.push_back({path, group, file});
        }
    }
    return found;
}

// ---- Textures

ContentUpdate updateTexture(LuaThingy& host, const LoadedFile& file, std::string& problem) {
    auto* const texture = file.Get<Texture>(host.textureManager);
    if (!texture)
        return ContentUpdate::Done; // its next use loads it
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    const GLuint old = texture->texId;
    if (!texture->Load(nullptr, false)) {
        problem = "cannot be read as an image";
        return ContentUpdate::Failed;
    }
    glDeleteTextures(1, &old);
    drawJoin.ForgetTextures();
    drawJoin.SetTexture(static_cast<GLuint>(bound) == old ? texture->texId : static_cast<GLuint>(bound));
    drawJoin.Sync();
    return ContentUpdate::Done;
}

// ---- Meshes

struct NamedMesh {
    char name[kContentNameSize] = "";
    std::unique_ptr<Geometry> mesh = std::make_unique<Geometry>();
};

std::vector<NamedMesh> readMeshes(DataBlock& data) {
    std::vector<NamedMesh> read;
    ObjCollectedVertData collected;
    int pos = 0;
    for (bool atEnd = false; !atEnd;) {
        read.emplace_back();
        atEnd = read.back().mesh->LoadOBJFileSegment(&data, &pos, &collected, read.back().name);
    }
    return read;
}

void takeFaces(Geometry& mesh, Geometry& from) {
    mesh.tris.Delete();
    mesh.quads.Delete();
    mesh.triCount = mesh.quadCount = 0;
    mesh.privRefreshData();
    Matrix asItIs;
    mesh.AddGeometry(&from, &asItIs, nullptr);
    mesh.needsCompile = true;
}

ContentUpdate updateMeshes(LuaThingy& host, const LoadedFile& file, std::string& problem) {
    DataBlock data;
    if (!data.ReadFile(file.path.c_str())) {
        problem = "cannot be read";
        return ContentUpdate::Failed;
    }
    const std::vector<NamedMesh> fresh = readMeshes(data);
    if (static_cast<int>(fresh.size()) != file.Count())
        return ContentUpdate::Restart;
    for (int i = 0; i < file.Count(); ++i) {
        const auto* mesh = file.Get<Geometry>(host.geometryManager, i);
        if (!mesh || mesh->copied || std::string(fresh[i].name) != file.Entry(i).name)
            return ContentUpdate::Restart;
    }
    for (int i = 0; i < file.Count(); ++i)
        takeFaces(*file.Get<Geometry>(host.geometryManager, i), *fresh[i].mesh);
    return ContentUpdate::Done;
}

void updateQuad(LuaThingy& host, const std::string& path) {
    if (path != plainPath(host.mediaPath.CStr() + std::string("geom/quad.obj")))
        return;
    Geometry fresh;
    LoadObjFileSingle(&fresh, path.c_str());
    takeFaces(host.quad, fresh);
}

// ---- Shaders

ContentUpdate updateShader(LuaThingy& host, const LoadedFile& file, std::string& problem) {
    auto* const shader = file.Get<Shader>(host.shaderManager);
    if (!shader)
        return ContentUpdate::Done;
    if (!shader->linked)
        return ContentUpdate::Restart; // its uniforms could not be declared
    Shader fresh;
    if (!fresh.LoadMetaFile(file.path.c_str()))
        problem = "cannot be read";
    if (!fresh.linked) {
        DeleteProgram(fresh);
        return ContentUpdate::Failed;
    }
    const bool isCurrent = CurrentProgram() == shader->program;
    ReplaceProgram(*shader, fresh);
    if (isCurrent)
        drawJoin.SetProgram(shader->program);
    return ContentUpdate::Done;
}

// ---- Sounds

ContentUpdate updateSound(LuaThingy& host, const LoadedFile& file, std::string& problem) {
    if (host.audioManager.ReloadFile(file.file, file.group))
        return ContentUpdate::Done;
    problem = "cannot be played";
    return ContentUpdate::Failed;
}

ContentUpdate updateMusic(LuaThingy& host, const std::string& path, std::string& problem) {
    MusicManager& music = host.musicManager;
    for (int player = 0; player < music.musicCount; ++player) {
        if (music.FileOf(player).empty() || plainPath(music.FileOf(player)) != path || music.Reload(player))
            continue;
        problem = "cannot be played";
        return ContentUpdate::Failed;
    }
    return ContentUpdate::Done;
}

} // namespace

ContentUpdate UpdateContent(LuaThingy& host, const std::string& changed, std::string& problem) {
    const std::string path = plainPath(changed);
    const auto is = [&path](const std::string& file) { return file == path; };
    const auto includes = [&path](const std::string& file) {
        return path.rfind(includeDirectory(file), 0) == 0 || file == path;
    };
    ContentUpdate result = ContentUpdate::Done;
    for (const LoadedFile& file : filesOf(host.textureManager, is))
        result = worst(result, updateTexture(host, file, problem));
    for (const LoadedFile& file : filesOf(host.geometryManager, is))
        result = worst(result, updateMeshes(host, file, problem));
    for (const LoadedFile& file : filesOf(host.shaderManager, includes))
        result = worst(result, updateShader(host, file, problem));
    for (const LoadedFile& file : filesOf(host.audioManager, is))
        result = worst(result, updateSound(host, file, problem));
    updateQuad(host, path);
    return worst(result, updateMusic(host, path, problem));
}
