#pragma once

#include <QDateTime>
#include <QVariantList>

// The small schedule halvaned --demo starts with: something to see in every published list, and no
// power action (the demo never touches power).
class HalvaneDemoSchedule
{
public:
    static QVariantList events(const QDateTime &now);
};
