// make_textures OUTDIR: paints every texture but the font. A texture is one function from (u, v) to a
// colour, v counted upwards; all but the single images (particle, star) repeat without a seam.
#include <SFML/Graphics/Image.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

constexpr double kPi = 3.14159265358979;

struct Colour {
    double r, g, b, a = 1.0;
};

Colour operator*(Colour c, double k) {
    return {c.r * k, c.g * k, c.b * k, c.a};
}

double mix(double a, double b, double t) {
    return a + (b - a) * t;
}

Colour mix(Colour a, Colour b, double t) {
    return {mix(a.r, b.r, t), mix(a.g, b.g, t), mix(a.b, b.b, t), mix(a.a, b.a, t)};
}

/// 0 below `from`, 1 above `to`, a smooth ramp between.
double ramp(double from, double to, double x) {
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

/// Random number 0..1 that belongs to a lattice point.
double hash(int x, int y, int seed) {
    std::uint32_t h =
        std::uint32_t(x) * 374761393u + std::uint32_t(y) * 668265263u + std::uint32_t(seed) * 974711u;
    h = (h ^ (h >> 13)) * 1274126177u;
    h = (h ^ (h >> 16)) * 2246822519u;
    return double(h ^ (h >> 15)) / 4294967296.0;
}

int wrap(int i, int n) {
    return ((i % n) + n) % n;
}

/// Smooth noise 0..1 with `nx` by `ny` lattice points over the unit square, repeating in both directions.
double noise(double u, double v, int nx, int ny, int seed) {
    const double x = u * nx, y = v * ny;
    const int ix = int(std::floor(x)), iy = int(std::floor(y));
    const double fx = ramp(0, 1, x - ix), fy = ramp(0, 1, y - iy);
    auto at = [&](int i, int j) { return hash(wrap(i, nx), wrap(j, ny), seed); };
    return mix(mix(at(ix, iy), at(ix + 1, iy), fx), mix(at(ix, iy + 1), at(ix + 1, iy + 1), fx), fy);
}

/// Five octaves of noise, 0..1.
double clouds(double u, double v, int n, int seed) {
    double sum = 0.0, weight = 0.5;
    for (int octave = 0; octave < 5; ++octave, weight *= 0.5)
        sum += weight * noise(u, v, n << octave, n << octave, seed + octave);
    return sum / 0.96875;
}

struct Cell {
    double nearest, second; // distances to the two nearest feature points, in lattice units
    double id;              // random 0..1 per cell
};

/// Cellular noise: one random feature point in each of n x n squares, repeating.
Cell cells(double u, double v, int n, int seed) {
    const int ix = int(std::floor(u * n)), iy = int(std::floor(v * n));
    Cell out{9.0, 9.0, 0.0};
    for (int k = 0; k < 9; ++k) {
        const int cx = ix + k % 3 - 1, cy = iy + k / 3 - 1, wx = wrap(cx, n), wy = wrap(cy, n);
        const double d = std::hypot(cx + hash(wx, wy, seed) - u * n, cy + hash(wx, wy, seed + 1) - v * n);
        out.second = std::min(out.second, std::max(d, out.nearest));
        if (d < out.nearest)
            out = {d, out.second, hash(wx, wy, seed + 2)};
    }
    return out;
}

Colour white(double, double) {
    return {1, 1, 1};
}

Colour checker(double u, double v) {
    const bool odd = (int(u * 4) + int(v * 4)) % 2 != 0;
    const double edge = std::min(std::fmod(u * 4, 1.0), std::fmod(v * 4, 1.0));
    return Colour{0.9, 0.9, 0.88} * (odd ? 0.35 : 1.0) * (edge < 0.04 ? 0.8 : 1.0);
}

Colour stone(double u, double v) {
    const Cell c = cells(u + 0.02 * clouds(u, v, 8, 3), v, 6, 11);
    const double shade = 0.55 + 0.25 * c.id + 0.3 * (clouds(u, v, 8, 5) - 0.5) - 0.15 * c.nearest;
    return mix(Colour{0.2, 0.19, 0.18}, Colour{1.0, 0.97, 0.92} * shade,
               ramp(0.03, 0.16, c.second - c.nearest));
}

Colour brick(double u, double v) {
    const double y = v * 8, x = u * 4 + (int(y) % 2) * 0.5;
    const double fx = x - std::floor(x), fy = y - std::floor(y), grain = clouds(u, v, 16, 21);
    const double inside =
        ramp(0.0, 0.03, std::min(fx, 1 - fx) - 0.02) * ramp(0.0, 0.06, std::min(fy, 1 - fy) - 0.04);
    const double tone = 0.75 + 0.3 * hash(wrap(int(std::floor(x)), 4), int(y), 22) + 0.5 * (grain - 0.5);
    return mix(Colour{0.72, 0.69, 0.64} * (0.7 + 0.4 * grain), Colour{0.62, 0.27, 0.18} * tone, inside);
}

Colour grass(double u, double v) {
    const double blades = noise(u + 0.03 * clouds(u, v, 8, 31), v, 96, 16, 32);
    const double patch = clouds(u, v, 4, 33);
    return mix(Colour{0.16, 0.36, 0.1}, Colour{0.5, 0.68, 0.22}, 0.55 * blades + 0.6 * (patch - 0.3));
}

Colour leaves(double u, double v) {
    const Cell c = cells(u, v, 14, 41);
    const double vein = ramp(0.0, 0.3, c.second - c.nearest);
    return mix(Colour{0.05, 0.16, 0.05}, mix(Colour{0.15, 0.4, 0.12}, Colour{0.45, 0.62, 0.2}, c.id),
               0.25 + 0.75 * vein);
}

Colour wood(double u, double v) {
    const int plank = int(u * 4);
    const double x = u * 4 - plank, shift = hash(plank, 0, 51);
    const double grain = noise(u + 0.04 * noise(u, v, 4, 4, 52), v + shift, 64, 4, 53);
    const double rings = 0.5 + 0.5 * std::sin(2 * kPi * (6 * x + 2.5 * noise(u, v + shift, 4, 3, 54)));
    const Colour tone =
        mix(Colour{0.42, 0.24, 0.1}, Colour{0.72, 0.48, 0.25}, 0.25 + 0.35 * grain + 0.3 * rings);
    return tone * (0.85 + 0.25 * shift) * mix(0.4, 1.0, ramp(0.0, 0.03, std::min(x, 1 - x)));
}

Colour metal(double u, double v) {
    const double brushed = 0.5 * noise(u, v, 8, 128, 61) + 0.5 * noise(u, v, 4, 64, 62);
    const double x = std::fmod(u * 2, 1.0), y = std::fmod(v * 2, 1.0);
    const double seam = ramp(0.0, 0.02, std::min(std::min(x, 1 - x), std::min(y, 1 - y)));
    const double dx = std::min(x, 1 - x) - 0.1, dy = std::min(y, 1 - y) - 0.1;
    const double rivet = 1.0 - ramp(0.025, 0.04, std::hypot(dx, dy));
    return Colour{0.72, 0.75, 0.8} * (0.6 + 0.35 * brushed) * mix(0.45, 1.0, seam) *
           (1.0 + rivet * (0.35 - 9 * dy));
}

Colour sand(double u, double v) {
    const double dune = 0.5 + 0.5 * std::sin(2 * kPi * (6 * v + clouds(u, v, 3, 71)));
    return Colour{0.86, 0.76, 0.54} * (0.8 + 0.12 * dune + 0.16 * noise(u, v, 128, 128, 72));
}

Colour snow(double u, double v) {
    return Colour{0.93, 0.96, 1.0} * (0.82 + 0.14 * clouds(u, v, 4, 75) + 0.06 * noise(u, v, 128, 128, 76));
}

Colour water(double u, double v) {
    const double warp = 0.06 * clouds(u, v, 4, 81);
    const Cell c = cells(u + warp, v + warp, 5, 82);
    return mix(Colour{0.05, 0.25, 0.45}, Colour{0.55, 0.85, 0.95}, std::pow(std::min(c.nearest, 1.0), 3.0));
}

Colour lava(double u, double v) {
    const Cell c = cells(u + 0.05 * clouds(u, v, 6, 91), v, 5, 92);
    const double heat = 1.0 - ramp(0.0, 0.35, c.second - c.nearest), rock = clouds(u, v, 8, 94);
    return mix(Colour{0.2, 0.13, 0.12} * (0.5 + rock), Colour{1.0, 0.35 + 0.6 * heat, 0.1}, heat);
}

Colour facade(double u, double v) {
    const double x = std::fmod(u * 8, 1.0), y = std::fmod(v * 8, 1.0),
                 light = hash(int(u * 8), int(v * 8), 101);
    const bool window = x > 0.2 && x < 0.8 && y > 0.2 && y < 0.75;
    const Colour glass =
        light > 0.55 ? Colour{1.0, 0.85, 0.5} * (0.4 + light * 0.6) : Colour{0.13, 0.18, 0.26};
    return window ? glass : Colour{0.36, 0.38, 0.43} * (0.8 + 0.3 * clouds(u, v, 8, 102));
}

Colour stars(double u, double v) {
    const Cell c = cells(u, v, 22, 111);
    const double star = std::pow(std::max(0.0, 1.0 - c.nearest * (13.0 - 9.0 * c.id)), 1.4);
    const double dust = std::pow(clouds(u, v, 3, 113), 3.0);
    const Colour tint = mix(Colour{1.0, 0.8, 0.65}, Colour{0.7, 0.85, 1.0}, std::fmod(c.id * 37.0, 1.0));
    return {dust * 0.35 + tint.r * star, dust * 0.2 + tint.g * star, 0.03 + dust * 0.6 + tint.b * star};
}

/// Bottom row horizon, top row zenith; repeats in u.
Colour sky(double u, double v) {
    const Colour air = mix(Colour{0.86, 0.92, 0.97}, Colour{0.2, 0.42, 0.78}, std::pow(v, 0.6));
    const double cover = ramp(0.45, 0.75, clouds(u, v * 2, 4, 121)) * ramp(0.08, 0.3, v) * ramp(1.0, 0.7, v);
    return mix(air, Colour{1, 1, 1}, cover);
}

Colour planet(double u, double v) {
    const double height = clouds(u, v, 4, 131) + 0.15 * (clouds(u, v, 8, 133) - 0.5);
    const double pole = ramp(0.8, 0.92, std::abs(2 * v - 1) + 0.2 * (height - 0.5));
    const Colour sea = mix(Colour{0.03, 0.12, 0.35}, Colour{0.1, 0.4, 0.6}, height * 1.6);
    const Colour land = mix(Colour{0.2, 0.45, 0.15}, Colour{0.6, 0.5, 0.32}, ramp(0.58, 0.75, height));
    return mix(height > 0.56 ? land : sea, Colour{0.95, 0.97, 1.0}, pole);
}

Colour gasgiant(double u, double v) {
    const double flow = v + 0.06 * (clouds(u, v, 4, 141) - 0.5), band = noise(0, flow, 1, 16, 143);
    return mix(Colour{0.62, 0.4, 0.28}, Colour{0.95, 0.87, 0.72}, 0.2 + 0.8 * band);
}

Colour moon(double u, double v) {
    const Cell big = cells(u, v, 6, 151), fine = cells(u, v, 17, 152);
    const double craters = ramp(0.2, 0.32, big.nearest) * 0.25 + ramp(0.2, 0.35, fine.nearest) * 0.15;
    return Colour{0.8, 0.79, 0.77} * (0.35 + craters + 0.5 * clouds(u, v, 6, 153));
}

Colour particle(double u, double v) {
    const double r = std::hypot(2 * u - 1, 2 * v - 1);
    return {1, 1, 1, std::pow(std::max(0.0, 1.0 - r), 1.6)};
}

Colour star(double u, double v) {
    const double x = std::abs(2 * u - 1), y = std::abs(2 * v - 1), r = std::hypot(x, y);
    const double flare = std::exp(-20 * x) * (1 - y) + std::exp(-20 * y) * (1 - x);
    return {1, 1, 1, std::clamp(flare * 0.8 + std::pow(std::max(0.0, 1 - 1.6 * r), 3.0), 0.0, 1.0)};
}

struct Picture {
    const char* name;
    unsigned size;
    Colour (*paint)(double u, double v);
};

constexpr Picture kPictures[] = {
    {"white", 4, white},        {"checker", 128, checker},   {"stone", 256, stone},
    {"brick", 256, brick},      {"grass", 256, grass},       {"leaves", 256, leaves},
    {"wood", 256, wood},        {"metal", 256, metal},       {"sand", 256, sand},
    {"snow", 128, snow},        {"water", 256, water},       {"lava", 256, lava},
    {"facade", 256, facade},    {"stars", 256, stars},       {"sky", 256, sky},
    {"planet", 256, planet},    {"gasgiant", 256, gasgiant}, {"moon", 256, moon},
    {"particle", 64, particle}, {"star", 64, star},
};

sf::Uint8 byteOf(double x) {
    return sf::Uint8(std::lround(std::clamp(x, 0.0, 1.0) * 255.0));
}

bool save(const Picture& picture, const std::string& dir) {
    sf::Image image;
    image.create(picture.size, picture.size);
    for (unsigned y = 0; y < picture.size; ++y)
        for (unsigned x = 0; x < picture.size; ++x) {
            const Colour c = picture.paint((x + 0.5) / picture.size, 1.0 - (y + 0.5) / picture.size);
            image.setPixel(x, y, sf::Color(byteOf(c.r), byteOf(c.g), byteOf(c.b), byteOf(c.a)));
        }
    return image.saveToFile(dir + "/" + picture.name + ".png");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_textures OUTDIR\n");
        return 1;
    }
    for (const Picture& picture : kPictures)
        if (!save(picture, argv[1]))
            return 1;
    return 0;
}
