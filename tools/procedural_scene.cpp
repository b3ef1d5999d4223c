#include "tools/procedural_scene.h"

#include <algorithm>
#include <cmath>

#include "host/image/image_canvas.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_channel_manager.h"
#include "tools/parallel_rows.h"

namespace zvio {

namespace {

struct Vector {
    double x, y, z;
};

Vector operator+(Vector a, Vector b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
Vector operator-(Vector a, Vector b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vector operator*(Vector a, double factor)
{
    return {a.x * factor, a.y * factor, a.z * factor};
}
double dot(Vector a, Vector b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vector normalized(Vector a)
{
    return a * (1.0 / std::sqrt(dot(a, a)));
}

struct Sphere {
    Vector center;
    double radius;
    Vector color;
};

constexpr Sphere kSpheres[] = {
    {{0.0, 1.0, 6.0}, 1.0, {0.85, 0.22, 0.10}},  {{-2.1, 0.7, 5.2}, 0.7, {0.10, 0.45, 0.80}},
    {{1.9, 0.8, 5.0}, 0.8, {0.90, 0.65, 0.12}},  {{0.9, 0.35, 3.9}, 0.35, {0.20, 0.70, 0.30}},
    {{-0.9, 0.4, 4.1}, 0.4, {0.75, 0.75, 0.78}}, {{-4.0, 1.6, 9.0}, 1.6, {0.50, 0.20, 0.60}},
    {{4.2, 1.4, 8.5}, 1.4, {0.15, 0.60, 0.62}},
};

/// Behind it there is sky.
constexpr double kFar = 25.0;

/// What a ray meets first.
struct Hit {
    double depth = 0.0;  // 0: nothing
    Vector point{}, normal{}, color{};
    int id = 0;  // 1 is the ground, 2 and more the spheres
};

Hit trace(Vector origin, Vector direction)
{
    Hit hit;
    double nearest = 1e30;
    if (direction.y < -1e-6) {
        nearest = -origin.y / direction.y;
        Vector const point = origin + direction * nearest;
        bool const is_light =
            (static_cast<long>(std::floor(point.x)) + static_cast<long>(std::floor(point.z))) & 1;
        double const tone = is_light ? 0.55 : 0.22;
        hit = {nearest, point, {0.0, 1.0, 0.0}, {tone, tone, tone * 1.05}, 1};
    }
    int id = 2;
    for (Sphere const& sphere : kSpheres) {
        Vector const to_center = sphere.center - origin;
        double const along = dot(to_center, direction);
        double const square = sphere.radius * sphere.radius - dot(to_center, to_center) + along * along;
        double const distance = square > 0.0 ? along - std::sqrt(square) : -1.0;
        if (distance > 1e-4 && distance < nearest) {
            nearest = distance;
            Vector const point = origin + direction * distance;
            hit = {distance, point, normalized(point - sphere.center), sphere.color, id};
        }
        ++id;
    }
    return hit.depth > kFar ? Hit{} : hit;
}

Vector light_direction(int number)
{
    double const angle = 0.9 + 2.4 * number;
    return normalized({std::cos(angle), 0.9 + 0.25 * (number % 3), -std::abs(std::sin(angle)) - 0.2});
}

double lit(Hit const& hit, int light)
{
    Vector const direction = light_direction(light);
    if (trace(hit.point + hit.normal * 1e-3, direction).depth > 0.0)
        return 0.0;
    return std::max(0.0, dot(hit.normal, direction));
}

float* put(float* samples, Vector value)
{
    *samples++ = static_cast<float>(value.x);
    *samples++ = static_cast<float>(value.y);
    *samples++ = static_cast<float>(value.z);
    return samples;
}

std::vector<std::string> const kColor = {"r", "g", "b"};

}  // namespace

ProceduralScene::ProceduralScene(int width, int height, int layer_count)
    : m_width(width)
    , m_height(height)
    , m_canvas(std::make_unique<ImageCanvas>(false))
{
    m_layers = {{"depth", {"z"}, false},
                {"diffuse", kColor, true},
                {"specular", kColor, true},
                {"normal", {"x", "y", "z"}, false},
                {"id", {""}, false}};
    for (int light = 1; static_cast<int>(m_layers.size()) < layer_count; ++light)
        m_layers.push_back({"light" + std::to_string(light), kColor, true});
    m_layers.resize(static_cast<std::size_t>(layer_count));

    GMathVec4<int> const region(0, 0, width, height);
    m_canvas->create_image(&region, ImagePixel::DEPTH_RGBA, ImagePixel::BIT_DEPTH_32,
                           ImagePixel::BIT_TYPE_FLOAT, ImageMap::kDefaultTileSize);
    for (Layer const& layer : m_layers)
        for (std::string const& component : layer.components) {
            std::string const name = component.empty() ? layer.name : layer.name + "." + component;
            m_canvas->get_image()
                ->add_channel(name.c_str(), ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT)
                ->create_tiles(region, nullptr, 0.0f);
        }
}

ProceduralScene::~ProceduralScene() = default;

void ProceduralScene::add_layers(OfChannelManager& manager) const
{
    for (Layer const& layer : m_layers)
        manager.add_layer(layer.name.c_str(), layer.is_color ? 2 : 4, ImagePixel::BIT_TYPE_FLOAT);
}

/// All channels of one pixel, in the order of the map.
void ProceduralScene::shade(int x, int y, float* samples) const
{
    double const scale = 1.15 / m_height;
    Vector const eye{0.0, 1.6, -1.5};
    Vector const direction =
        normalized({(x + 0.5 - 0.5 * m_width) * scale, (0.5 * m_height - y - 0.5) * scale - 0.12, 1.0});
    Hit const hit = trace(eye, direction);
    bool const is_hit = hit.depth > 0.0;
    double const amount = is_hit ? lit(hit, 0) : 0.0;
    Vector const diffuse = is_hit ? hit.color * (0.12 + 0.88 * amount) : Vector{0.0, 0.0, 0.0};
    Vector const half_way = normalized(light_direction(0) - direction);
    double const shine =
        amount > 0.0 && hit.id > 1 ? std::pow(std::max(0.0, dot(hit.normal, half_way)), 60.0) : 0.0;
    Vector const specular{shine * 1.4, shine * 1.3, shine * 1.1};

    samples = put(samples, diffuse + specular);
    *samples++ = is_hit ? 1.0f : 0.0f;
    for (std::size_t layer = 0; layer < m_layers.size(); ++layer) {
        switch (layer) {
        case 0:
            *samples++ = static_cast<float>(is_hit ? hit.depth : kFar);
            break;
        case 1:
            samples = put(samples, diffuse);
            break;
        case 2:
            samples = put(samples, specular);
            break;
        case 3:
            samples = put(samples, hit.normal);
            break;
        case 4:
            *samples++ = static_cast<float>(hit.id);
            break;
        default:
            samples =
                put(samples, is_hit ? hit.color * lit(hit, static_cast<int>(layer) - 4) : Vector{0, 0, 0});
        }
    }
}

void ProceduralScene::render(GMathVec4<int> const& region)
{
    ImageMap& map = *m_canvas->get_image();
    std::size_t const channels = map.get_channel_count(), width = static_cast<std::size_t>(region.width());
    std::vector<float> samples(channels * width * region.height());
    parallel_rows(region.height(), [&](int row) {
        for (std::size_t column = 0; column < width; ++column)
            shade(region.x() + static_cast<int>(column), region.y() + row,
                  samples.data() + (row * width + column) * channels);
    });
    std::ptrdiff_t const pixel_stride = static_cast<std::ptrdiff_t>(channels * sizeof(float));
    for (std::size_t channel = 0; channel < channels; ++channel)
        map.m_channels[static_cast<unsigned int>(channel)]->fill_rows(
            samples.data() + channel, pixel_stride, pixel_stride * static_cast<std::ptrdiff_t>(width),
            region);
}

}  // namespace zvio
