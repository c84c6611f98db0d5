#ifndef LUMO_VIEWS_YUVSHOWMODE_H
#define LUMO_VIEWS_YUVSHOWMODE_H

// What a drag does in the frame view.
enum YUVShowMode {
    YUV_SHOW_MODE_MOVE = 1, // pans the frame
    YUV_SHOW_MODE_RECT = 2, // draws the region-of-interest rectangle
};

#endif
