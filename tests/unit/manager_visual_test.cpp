// Textures, shaders and meshes as content, from real files in a real context.
#include "manager.h"

#include "gl_files.h"
#include "materials.h"

#include <SFML/Graphics/Image.hpp>

class ManagerVisualTest : public GlFilesTest {
protected:
    static unsigned glState(GLenum name) {
        int value = -1;
        glGetIntegerv(name, &value);
        return static_cast<unsigned>(value);
    }
    Geometry* mesh(int index) { return reinterpret_cast<Geometry*>(meshes.GetLoadedItem(index)); }
    void addMeshes(const std::string& file, const std::string& text, int expectedFirst, int expectedCount) {
        write(file, text);
        int first = -1, count = -1;
        meshes.AddContent(file.c_str(), "ships", &first, &count);
        EXPECT_TRUE(first == expectedFirst && count == expectedCount) << file << ": " << count;
    }
    GeometryManager meshes;
    const std::string triangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.25 0.5\nvn 0 0 1\nf 1/1/1 2/1/1 3/1/1\n";
};

TEST_F(ManagerVisualTest, BindsTexturesAndNothingForMissingOnes) {
    sf::Image image;
    image.create(4, 4, sf::Color::Red);
    ASSERT_TRUE(image.saveToFile("red.png"));
    TextureManager textures;
    textures.AddContent("red.png", "", nullptr, nullptr);
    textures.AddContent("folder\\none.png", "", nullptr, nullptr);
    bool tried = false;
    for (int unbinding : {1, -1, 1}) { // an item that fails to load is used as nothing
        textures.Use("red");
        EXPECT_EQ(glState(GL_TEXTURE_BINDING_2D), reinterpret_cast<Texture*>(textures.GetItem(0))->texId);
        testing::internal::CaptureStderr();
        EXPECT_EQ(printed([&] { textures.Use(unbinding); }), "");
        EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), tried)
            << "the library reports each file once";
        EXPECT_EQ(glState(GL_TEXTURE_BINDING_2D), 0u);
        tried = true;
    }
}

TEST_F(ManagerVisualTest, BindsShadersUnlessDisabled) {
    write("flat.shad", "#SECTION VERTEX\nvoid main() { gl_Position = ftransform(); }\n"
                       "#SECTION FRAGMENT\nvoid main() { gl_FragColor = vec4(1.0); }\n");
    ShaderManager shaders;
    shaders.AddContent("flat.shad", "", nullptr, nullptr);
    auto* flat = reinterpret_cast<Shader*>(shaders.GetItem(0));
    ASSERT_NE(flat, nullptr);
    for (bool enabled : {false, true, false, true}) {
        shaders.SetShadersEnabled(enabled);
        Shader* bound = enabled ? (shaders.GetBoundShader() ? nullptr : flat) : shaders.GetBoundShader();
        shaders.Use(bound ? 0 : -1);
        EXPECT_EQ(shaders.GetBoundShader(), bound);
        EXPECT_EQ(glState(GL_CURRENT_PROGRAM), bound ? flat->program : 0u);
    }
}

TEST_F(ManagerVisualTest, LoadsEveryObjectAtRegistration) {
    meshes.NewGeom();
    addMeshes("three.obj", "o Hull_1\n" + triangle + "o Mast_2\no Flag\nf 1 2 3\nf 1 2 3\n", 1, 3);
    EXPECT_EQ(mesh(1)->triCount + 10 * mesh(2)->triCount + 100 * mesh(3)->triCount, 201);
    EXPECT_EQ(meshes.GetIndex("flag", "ships"), 2);
    EXPECT_EQ(printed([&] { addMeshes("old.tno", "", 4, 0); }), "Error: tno files no longer supported.\n");
    addMeshes("loud.OBJ", triangle, 4, 0);
    EXPECT_EQ(printed([&] { meshes.AddContent("none.obj", "ships", nullptr, nullptr); }),
              "Error: could not read geometry file none.obj\n");
    std::string many;
    for (int i = 0; i < 600; i++)
        many += "o m" + std::to_string(i) + "\n";
    addMeshes("many.obj", many, 5, 600);
    EXPECT_EQ(meshes.GetItem("m599", "ships"), meshes.GetLoadedItem(604));
}

TEST_F(ManagerVisualTest, PlacesTransformedCopies) {
    addMeshes("part.obj", triangle, 0, 1);
    const int built = meshes.NewGeom("built");
    meshes.Place(0, built);
    meshes.Translate(5, 0, 0);
    meshes.TexTranslate(0.5f, 0);
    meshes.TexScale(2, 1);
    meshes.Place("ships", "", built);
    meshes.Reset();
    meshes.Place(built, built);
    ASSERT_EQ(mesh(built)->triCount, 4);
    const float expected[][2] = {{1, 0.25f}, {6, 1}, {1, 1}, {6, 2.5f}}; // x and u of the second corners
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(mesh(built)->triData[i / 2 * 24 + 8 + i % 2 * 6], expected[i / 2][i % 2]) << i;
    meshes.CreateEmptyItem("", "hollow", nullptr);
    for (int bad : {-1, 2, -9, 3}) {
        EXPECT_EQ(printed([&] { meshes.Place(bad, bad); }), "ERR 1235\n");
        EXPECT_EQ(printed([&] { meshes.Place(0, bad); }), "ERR 5123\n");
    }
    const std::string invalid = "Error: Place(): group or name not valid.\n";
    EXPECT_EQ(printed([&] { meshes.Place("", "b", built); }), "Error 46561\n" + invalid);
    EXPECT_EQ(printed([&] { meshes.Place("nowhere", "built", built); }), invalid);
}
