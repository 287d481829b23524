#pragma once

#include <QString>

/**
 * Hides the plug-ins of the kind \a folder ("mediaservice", "audio"), so that Qt finds none but those that
 * are part of the program. Qt Multimedia looks for them once: call it before any use of that.
 */
void hideBackEnds(const QString &folder);
