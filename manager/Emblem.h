#pragma once

#include <QPixmap>

// The program's emblem, drawn rather than loaded so that it needs no image plug-in: two panes,
// the local machine and the host, with a file moving from one to the other. The desktop's icon
// (desktop/org.marlowen.Tarvik.svg) shows the same.
class Emblem {
public:
    static QPixmap Draw(int size);
    // The splash screen: the emblem, the name, the version and what the program is.
    static QPixmap Splash(const QString& version);
};
