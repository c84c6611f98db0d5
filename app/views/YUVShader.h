#ifndef LUMO_VIEWS_YUVSHADER_H
#define LUMO_VIEWS_YUVSHADER_H

// The GLSL texts of the frame view. Both YUV vertex constants point at the
// same text.
namespace YUVShader {

extern const char* const YUV_RENDER_VERTEX_SHADER;
extern const char* const YUV_RENDER_FRAGMENT_SHADER;
extern const char* const YUV_SINGLE_CHANNEL_RENDER_VERTEX_SHADER;
extern const char* const YUV_SINGLE_CHANNEL_RENDER_FRAGMENT_SHADER;
extern const char* const LINE_RENDER_VERTEX_SHADER;
extern const char* const LINE_RENDER_FRAGMENT_SHADER;

} // namespace YUVShader

#endif
