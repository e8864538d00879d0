#pragma once

#include <QString>
#include <sys/types.h>

// Who sent a request: the unique bus name and the Unix user the bus vouches for.
struct HalvaneCaller
{
    QString busName;
    uid_t uid = uid_t(-1);
    bool isKnown() const { return uid != uid_t(-1); }
};
