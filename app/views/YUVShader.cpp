#include "views/YUVShader.h"

namespace YUVShader {

namespace {

const char kYuvVertex[] =
    "#version 330\n"
    "layout (location = 0) in vec3 position; layout (location = 1) in vec3 texCoord; out vec3 TexCoord; "
    "uniform mat4 yuvMatrix; void main() { gl_Position = yuvMatrix * vec4(position, 1.0f); TexCoord = texCoord; }";

// No clamping before the power, and iTime, width and height go unused.
const char kYuvFragment[] =
    "#version 330\n"
    "in vec3 TexCoord; out vec4 color; uniform float iTime; uniform float width; uniform float height; "
    "uniform sampler2D y; uniform sampler2D u; uniform sampler2D v; uniform mat3 colorMat; uniform int colorRange; "
    "uniform float gamma = 1.0; void main() { float t_x = TexCoord.x; float t_y = TexCoord.y; "
    "vec2 t = vec2(t_x,1.0 - t_y); vec3 yuv; vec3 rgb; yuv.x = texture(y, t).r; yuv.y = texture(u, t).r; "
    "yuv.z = texture(v, t).r; if(colorRange == 1){ } if(colorRange == 2){ yuv.x = (yuv.x * 255 - 16) / (235 - 16); "
    "yuv.y = (yuv.y * 255 - 16) / (240 - 16); yuv.z = (yuv.z * 255 - 16) / (240 - 16); } yuv.y = yuv.y - 0.5; "
    "yuv.z = yuv.z - 0.5; rgb = colorMat * yuv; vec3 rgb_out = pow(rgb, vec3(gamma)); color = vec4(rgb_out, 1.0); }";

const char kSingleChannelFragment[] =
    "#version 330\n"
    "in vec3 TexCoord; out vec4 color; uniform float iTime; uniform float width; uniform float height; "
    "uniform int type = 1; uniform sampler2D y; uniform sampler2D u; uniform sampler2D v; uniform int colorRange; "
    "void main() { float t_x = TexCoord.x; float t_y = TexCoord.y; vec2 t = vec2(t_x, 1.0 - t_y); vec3 yuv; "
    "yuv.x = texture(y, t).r; yuv.y = texture(u, t).r; yuv.z = texture(v, t).r; if(type == 1){ "
    "float v = texture(y, t).r; color = vec4(v, v, v, 1.0); } if(type == 2){ float v = texture(u, t).r; "
    "color = vec4(v, v, v, 1.0); } if(type == 3){ float v = texture(v, t).r; color = vec4(v, v, v, 1.0); } }";

const char kLineVertex[] =
    "#version 330\n"
    "layout (location = 0) in vec3 position; uniform mat4 mvp; void main() { "
    "gl_Position = mvp * vec4(position, 1.0f); }";

const char kLineFragment[] =
    "#version 330\n"
    "out vec4 color; void main() { vec3 rgb_out = vec3(1.0, 0.0, 0.0); color = vec4(rgb_out, 1.0); }";

} // namespace

const char* const YUV_RENDER_VERTEX_SHADER = kYuvVertex;
const char* const YUV_RENDER_FRAGMENT_SHADER = kYuvFragment;
const char* const YUV_SINGLE_CHANNEL_RENDER_VERTEX_SHADER = kYuvVertex;
const char* const YUV_SINGLE_CHANNEL_RENDER_FRAGMENT_SHADER = kSingleChannelFragment;
const char* const LINE_RENDER_VERTEX_SHADER = kLineVertex;
const char* const LINE_RENDER_FRAGMENT_SHADER = kLineFragment;

} // namespace YUVShader
