#ifndef LUMO_SHELL_STARTUP_H
#define LUMO_SHELL_STARTUP_H

// What main() does between creating the QApplication and showing the
// splash window: the default surface format that every OpenGL widget
// inherits (OpenGL 3.3 core, 24-bit depth, 8-bit stencil), one debug line
// with the available widget styles, and the "Fusion" style forced so the
// windows look alike on every desktop.
void PrepareApplication();

#endif
