#ifndef LUMO_APP_INFOBOX_H
#define LUMO_APP_INFOBOX_H

#include <QString>

// A modal information box without a parent whose title and text are both
// text, with one OK button.
void InfoBox(const QString& text);

#endif
