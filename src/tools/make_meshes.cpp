// make_meshes OUTDIR: writes the OBJ meshes. z is up, front faces run counter-clockwise, and normals and
// texture coordinates are always present. Curved meshes are functions of (u, v) in the unit square.
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr double kTurn = 6.28318530717959;

struct Vec {
    double x, y, z;
};

Vec operator+(Vec a, Vec b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

Vec operator-(Vec a, Vec b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

Vec operator*(Vec a, double k) {
    return {a.x * k, a.y * k, a.z * k};
}

Vec cross(Vec a, Vec b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Vec unit(Vec a) {
    const double length = std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z);
    return length > 1e-12 ? a * (1.0 / length) : Vec{0, 0, 1};
}

struct Corner {
    Vec position, normal;
    double u, v;
};

using Surface = std::function<Vec(double u, double v)>;
using Profile = std::vector<std::pair<double, double>>; // (radius, height) from bottom to top

/// One OBJ file in the making. Equal records are written once and shared by index.
class ObjFile {
public:
    void object(const std::string& name) { text_ += "o " + name + "\n"; }
    void face(const std::vector<Corner>& corners);
    /// Flat-shaded polygon of 3 or 4 points; the texture covers a quad once.
    void flat(const std::vector<Vec>& points);
    /// Smooth grid over the unit square; `uTiles` and `vTiles` repeat the texture.
    void surface(const Surface& f, int nu, int nv, double uTiles = 1, double vTiles = 1);
    /// Solid of revolution about z with an edge at every profile point; flat sides when `faceted`.
    void lathe(const Profile& profile, int sides, bool faceted = false);
    void box(Vec low, Vec high);
    bool save(const std::string& path) const;

private:
    int record(const char* keyword, std::initializer_list<double> values);
    std::string text_;
    std::map<std::string, int> index_; // record text to its 1-based number
    std::map<std::string, int> count_; // records written per keyword
};

int ObjFile::record(const char* keyword, std::initializer_list<double> values) {
    std::string line = keyword;
    char number[32];
    for (double value : values) {
        std::snprintf(number, sizeof number, " %.4g", std::abs(value) < 5e-5 ? 0.0 : value);
        line += number;
    }
    const auto [entry, isNew] = index_.insert({line, 0});
    if (isNew) {
        entry->second = ++count_[keyword];
        text_ += line + "\n";
    }
    return entry->second;
}

void ObjFile::face(const std::vector<Corner>& corners) {
    std::string line = "f";
    for (const Corner& c : corners) {
        const int p = record("v", {c.position.x, c.position.y, c.position.z});
        const int t = record("vt", {c.u, c.v});
        const int n = record("vn", {c.normal.x, c.normal.y, c.normal.z});
        line += " " + std::to_string(p) + "/" + std::to_string(t) + "/" + std::to_string(n);
    }
    text_ += line + "\n";
}

void ObjFile::flat(const std::vector<Vec>& points) {
    const Vec normal = unit(cross(points[1] - points[0], points[2] - points[0]));
    const double us[] = {0, 1, 1, 0}, vs[] = {0, 0, 1, 1};
    std::vector<Corner> corners;
    for (std::size_t i = 0; i < points.size(); ++i)
        corners.push_back({points[i], normal, points.size() == 3 && i == 2 ? 0.5 : us[i], vs[i]});
    face(corners);
}

/// Normal from central differences; `v` is kept off the poles, where the surface has no tangent.
Vec normalAt(const Surface& f, double u, double v) {
    const double h = 1e-4, inner = std::fmin(std::fmax(v, 2 * h), 1 - 2 * h);
    return unit(cross(f(u + h, inner) - f(u - h, inner), f(u, inner + h) - f(u, inner - h)));
}

bool same(Vec a, Vec b) {
    return std::abs(a.x - b.x) + std::abs(a.y - b.y) + std::abs(a.z - b.z) < 1e-6;
}

void ObjFile::surface(const Surface& f, int nu, int nv, double uTiles, double vTiles) {
    auto corner = [&](int i, int j) {
        const double u = double(i) / nu, v = double(j) / nv;
        return Corner{f(u, v), normalAt(f, u, v), u * uTiles, v * vTiles};
    };
    for (int j = 0; j < nv; ++j)
        for (int i = 0; i < nu; ++i) {
            const Corner a = corner(i, j), b = corner(i + 1, j), c = corner(i + 1, j + 1),
                         d = corner(i, j + 1);
            if (same(a.position, b.position))
                face({a, c, d});
            else if (same(c.position, d.position))
                face({a, b, c});
            else
                face({a, b, c, d});
        }
}

void ObjFile::lathe(const Profile& profile, int sides, bool faceted) {
    for (std::size_t k = 0; k + 1 < profile.size(); ++k) {
        const auto [r0, z0] = profile[k];
        const auto [r1, z1] = profile[k + 1];
        const Surface band = [r0 = r0, z0 = z0, r1 = r1, z1 = z1](double u, double v) {
            const double r = r0 + (r1 - r0) * v;
            return Vec{r * std::cos(kTurn * u), r * std::sin(kTurn * u), z0 + (z1 - z0) * v};
        };
        if (!faceted) {
            surface(band, sides, 1);
            continue;
        }
        for (int i = 0; i < sides; ++i) {
            const double u0 = double(i) / sides, u1 = double(i + 1) / sides;
            if (r0 < 1e-6)
                flat({band(u0, 0), band(u1, 1), band(u0, 1)});
            else if (r1 < 1e-6)
                flat({band(u0, 0), band(u1, 0), band(u0, 1)});
            else
                flat({band(u0, 0), band(u1, 0), band(u1, 1), band(u0, 1)});
        }
    }
}

void ObjFile::box(Vec a, Vec b) {
    flat({{a.x, a.y, b.z}, {b.x, a.y, b.z}, {b.x, b.y, b.z}, {a.x, b.y, b.z}}); // top
    flat({{a.x, b.y, a.z}, {b.x, b.y, a.z}, {b.x, a.y, a.z}, {a.x, a.y, a.z}}); // bottom
    flat({{a.x, a.y, a.z}, {b.x, a.y, a.z}, {b.x, a.y, b.z}, {a.x, a.y, b.z}});
    flat({{b.x, a.y, a.z}, {b.x, b.y, a.z}, {b.x, b.y, b.z}, {b.x, a.y, b.z}});
    flat({{b.x, b.y, a.z}, {a.x, b.y, a.z}, {a.x, b.y, b.z}, {b.x, b.y, b.z}});
    flat({{a.x, b.y, a.z}, {a.x, a.y, a.z}, {a.x, a.y, b.z}, {a.x, b.y, b.z}});
}

bool ObjFile::save(const std::string& path) const {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    std::fputs(text_.c_str(), file);
    return std::fclose(file) == 0;
}

/// Sphere of the given radius standing at height z; `from` 0.5 leaves the upper half.
Surface ball(double radius, double z = 0, double from = 0) {
    return [=](double u, double v) {
        const double lat = (from + (1 - from) * v - 0.5) * kTurn / 2;
        const double r = radius * std::cos(lat);
        return Vec{r * std::cos(kTurn * u), r * std::sin(kTurn * u), z + radius * std::sin(lat)};
    };
}

Vec torus(double u, double v) {
    const double r = 0.72 + 0.28 * std::cos(kTurn * v);
    return {r * std::cos(kTurn * u), r * std::sin(kTurn * u), 0.28 * std::sin(kTurn * v)};
}

/// Centre line of a trefoil knot.
Vec knotLine(double u) {
    const double r = 0.6 + 0.25 * std::cos(3 * kTurn * u);
    return {r * std::cos(2 * kTurn * u), r * std::sin(2 * kTurn * u), 0.3 * std::sin(3 * kTurn * u)};
}

Vec knot(double u, double v) {
    const Vec along = unit(knotLine(u + 1e-4) - knotLine(u - 1e-4));
    const Vec side = unit(cross(along, {0, 0, 1})), up = cross(side, along);
    return knotLine(u) + side * (0.15 * std::cos(kTurn * v)) + up * (0.15 * std::sin(kTurn * v));
}

/// Rolling hills that meet their neighbours when tiled 2 apart.
Vec hills(double u, double v) {
    const double a = kTurn * u, b = kTurn * v;
    const double z =
        0.12 * std::sin(a) * std::cos(b) + 0.06 * std::sin(2 * a + b) + 0.03 * std::cos(3 * b - a);
    return {2 * u - 1, 2 * v - 1, z};
}

void makeRocket(ObjFile& f) {
    f.object("rocket");
    f.lathe({{0.0, -0.9}, {0.2, -0.9}, {0.16, -0.7}, {0.28, -0.7}, {0.3, 0.2}}, 20);
    f.surface(
        [](double u, double v) {
            const double r = 0.3 * std::sqrt(1 - v * v), a = kTurn * u;
            return Vec{r * std::cos(a), r * std::sin(a), 0.2 + 0.8 * v};
        },
        20, 8);
    for (int i = 0; i < 3; ++i) {
        const double a = kTurn * i / 3, c = std::cos(a), s = std::sin(a);
        auto at = [&](double r, double side, double z) { return Vec{r * c - side * s, r * s + side * c, z}; };
        const Vec root = at(0.26, 0, -0.1), heel = at(0.66, 0, -1.0), tip = at(0.66, 0, -0.6);
        const Vec left = at(0.26, 0.04, -0.7), right = at(0.26, -0.04, -0.7);
        f.flat({right, heel, tip, root});
        f.flat({root, tip, heel, left});
        f.flat({left, heel, right});
    }
}

/// A small flat-shaded fighter that flies towards +y.
void makeShip(ObjFile& f) {
    f.object("ship");
    const Vec nose{0, 1, 0}, top{0, -0.3, 0.3}, bottom{0, -0.4, -0.15}, tail{0, -0.7, 0.05};
    for (double side : {-1.0, 1.0}) {
        const Vec wing{0.85 * side, -0.8, 0}, body{0.28 * side, -0.25, 0};
        std::vector<std::vector<Vec>> faces = {{nose, top, body},    {body, top, tail},
                                               {body, tail, wing},   {nose, body, bottom},
                                               {body, wing, bottom}, {wing, tail, bottom}};
        for (std::vector<Vec>& face : faces)
            f.flat(side > 0 ? face : std::vector<Vec>{face[0], face[2], face[1]});
    }
}

void makePieces(ObjFile& f) {
    const Profile base = {{0.0, 0.0}, {0.36, 0.0}, {0.36, 0.08}, {0.3, 0.14}, {0.3, 0.18}, {0.2, 0.26}};
    auto turned = [&](const char* name, const Profile& upper) {
        f.object(name);
        Profile profile = base;
        profile.insert(profile.end(), upper.begin(), upper.end());
        f.lathe(profile, 24);
    };
    turned("pawn", {{0.12, 0.55}, {0.2, 0.58}, {0.2, 0.62}, {0.1, 0.64}});
    f.surface(ball(0.17, 0.76), 24, 14);
    turned("rook", {{0.17, 0.6}, {0.27, 0.68}, {0.27, 0.9}, {0.2, 0.9}, {0.2, 0.8}, {0.0, 0.8}});
    turned("bishop",
           {{0.12, 0.72}, {0.22, 0.76}, {0.22, 0.8}, {0.11, 0.84}, {0.17, 0.95}, {0.14, 1.08}, {0.0, 1.24}});
    f.surface(ball(0.05, 1.26), 16, 8);
    turned("queen",
           {{0.13, 0.85}, {0.24, 0.9}, {0.24, 0.94}, {0.13, 0.98}, {0.25, 1.24}, {0.17, 1.2}, {0.0, 1.32}});
    f.surface(ball(0.07, 1.36), 16, 8);
    turned("king", {{0.14, 0.9}, {0.25, 0.95}, {0.25, 1.0}, {0.15, 1.04}, {0.22, 1.3}, {0.0, 1.4}});
    f.box({-0.035, -0.035, 1.36}, {0.035, 0.035, 1.6});
    f.box({-0.1, -0.034, 1.46}, {0.1, 0.034, 1.53});
}

/// Building blocks of one unit that stand on z = 0.
void makeBlocks(ObjFile& f) {
    f.object("block");
    f.box({-0.5, -0.5, 0}, {0.5, 0.5, 1});
    f.object("roof");
    const Vec a{-0.5, -0.5, 0}, b{0.5, -0.5, 0}, c{0.5, 0.5, 0}, d{-0.5, 0.5, 0}, e{-0.5, 0, 0.6},
        g{0.5, 0, 0.6};
    f.flat({a, b, g, e});
    f.flat({c, d, e, g});
    f.flat({b, c, g});
    f.flat({d, a, e});
    f.object("column");
    f.lathe({{0.0, 0.0}, {0.5, 0.0}, {0.5, 1.0}, {0.0, 1.0}}, 20);
    f.object("cone");
    f.lathe({{0.0, 0.0}, {0.5, 0.0}, {0.0, 1.0}}, 20);
    f.object("dome");
    f.surface(ball(0.5, 0, 0.5), 20, 8);
    f.object("pyramid");
    f.lathe({{0.7071, 0.0}, {0.0, 1.0}}, 4, true);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_meshes OUTDIR\n");
        return 1;
    }
    bool ok = true;
    auto write = [&](const char* name, const std::function<void(ObjFile&)>& fill) {
        ObjFile file;
        fill(file);
        ok = file.save(std::string(argv[1]) + "/" + name + ".obj") && ok;
    };
    auto single = [&](const char* name, const std::function<void(ObjFile&)>& fill) {
        write(name, [&](ObjFile& f) {
            f.object(name);
            fill(f);
        });
    };
    single("quad", [](ObjFile& f) { f.flat({{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}}); });
    single("cube", [](ObjFile& f) { f.box({-1, -1, -1}, {1, 1, 1}); });
    single("sphere", [](ObjFile& f) { f.surface(ball(1), 36, 24); });
    single("torus", [](ObjFile& f) { f.surface(torus, 40, 18, 6, 2); });
    single("knot", [](ObjFile& f) { f.surface(knot, 140, 14, 18, 2); });
    single("terrain", [](ObjFile& f) { f.surface(hills, 24, 24, 2, 2); });
    single("gem", [](ObjFile& f) {
        f.lathe({{0.0, -0.9}, {0.9, 0.15}, {0.9, 0.25}, {0.5, 0.55}, {0.0, 0.55}}, 8, true);
    });
    single("grid", [](ObjFile& f) {
        f.surface([](double u, double v) { return Vec{2 * u - 1, 2 * v - 1, 0}; }, 40, 40);
    });
    write("rocket", makeRocket);
    write("ship", makeShip);
    write("pieces", makePieces);
    write("blocks", makeBlocks);
    write("tree", [](ObjFile& f) {
        f.object("trunk");
        f.lathe({{0.1, 0.0}, {0.07, 0.6}}, 8);
        f.object("crown");
        f.lathe({{0.0, 0.4}, {0.5, 0.4}, {0.2, 0.9}, {0.4, 0.9}, {0.13, 1.35}, {0.28, 1.35}, {0.0, 1.9}}, 10);
    });
    return ok ? 0 : 1;
}
