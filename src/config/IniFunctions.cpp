// The INI functions that the library exports: each is one operation on one entry.
#include "config/CINIImpl.h"
#include "nubrix/ini.h"

namespace {

using nubrix::CINIImpl;

template <typename Operation>
int onEntry(const char *file, const char *section, const char *key, Operation operation)
{
    if (!file || !section || !key)
        return -4;
    CINIImpl entry(file, section, key);
    return operation(entry);
}

}  // namespace

int nubrixReadString(const char *file, const char *section, const char *key, char *value,
                     unsigned int size)
{
    return onEntry(file, section, key,
                   [=](CINIImpl &entry) { return entry.readString(value, size); });
}

int nubrixReadInt(const char *file, const char *section, const char *key, int *value)
{
    return onEntry(file, section, key, [=](CINIImpl &entry) { return entry.readInt(value); });
}

int nubrixReadDouble(const char *file, const char *section, const char *key, double *value)
{
    return onEntry(file, section, key, [=](CINIImpl &entry) { return entry.readDouble(value); });
}

int nubrixReadBool(const char *file, const char *section, const char *key, bool *value)
{
    return onEntry(file, section, key, [=](CINIImpl &entry) { return entry.readBool(value); });
}

int nubrixWriteString(const char *file, const char *section, const char *key, const char *value)
{
    return onEntry(file, section, key,
                   [=](CINIImpl &entry) { return entry.writeString(value, false); });
}

int nubrixWriteInt(const char *file, const char *section, const char *key, int value)
{
    return onEntry(file, section, key, [=](CINIImpl &entry) { return entry.writeInt(value); });
}

int nubrixWriteDouble(const char *file, const char *section, const char *key, double value)
{
    return onEntry(file, section, key, [=](CINIImpl &entry) { return entry.writeDouble(value); });
}

int nubrixWriteBool(const char *file, const char *section, const char *key, bool value)
{
    return onEntry(file, section, key, [=](CINIImpl &entry) { return entry.writeBool(value); });
}
