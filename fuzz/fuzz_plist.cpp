// The property-list reader on arbitrary bytes: XML, binary, or neither. Whatever it accepts must be
// written back (XML and binary) and read again as the same value, or be refused with a message: a
// property list the program read but cannot save would be lost at the next save.
#include "FuzzApplication.h"
#include "TriskVXPropertyListSerialization.h"

#include <QDateTime>

#include <cmath>

using Serialization = TriskVXPropertyListSerialization;

namespace {
// Equal as values go through a file: a real that is not a number matches itself, and XML keeps dates to
// the second only (docs/decisions.md, persistence), so there a date may move by less than a second.
bool sameValue(const QVariant &a, const QVariant &b, qint64 dateToleranceMSecs)
{
    if (a.typeId() != b.typeId())
        return false;
    switch (a.typeId()) {
    case QMetaType::Double:
        return (std::isnan(a.toDouble()) && std::isnan(b.toDouble())) || a == b;
    case QMetaType::QDateTime:
        return std::abs(a.toDateTime().msecsTo(b.toDateTime())) <= dateToleranceMSecs;
    case QMetaType::QVariantList: {
        const QVariantList left = a.toList();
        const QVariantList right = b.toList();
        if (left.size() != right.size())
            return false;
        for (qsizetype i = 0; i < left.size(); ++i) {
            if (!sameValue(left.at(i), right.at(i), dateToleranceMSecs))
                return false;
        }
        return true;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap left = a.toMap();
        const QVariantMap right = b.toMap();
        if (left.keys() != right.keys())
            return false;
        for (auto it = left.cbegin(); it != left.cend(); ++it) {
            if (!sameValue(it.value(), right.value(it.key()), dateToleranceMSecs))
                return false;
        }
        return true;
    }
    default:
        return a == b;
    }
}

void checkRoundTrip(const QVariant &value, Serialization::Format format)
{
    QString error;
    const QByteArray written = Serialization::dataWithPropertyList(value, format, &error);
    if (written.isEmpty()) {
        if (error.isEmpty())
            qFatal("a value read from a property list was refused without a message");
        return;
    }
    const QVariant reread = Serialization::propertyListWithData(written, &error);
    if (!reread.isValid())
        qFatal("a property list we wrote cannot be read back: %s", qPrintable(error));
    if (!sameValue(reread, value, format == Serialization::Format::Xml ? 999 : 0))
        qFatal("a property list changed on its way through a file:\n%s\n", written.constData());
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    triskFuzzSetUp(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QString error;
    const QVariant value = Serialization::propertyListWithData(
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)), &error);
    if (!value.isValid()) {
        if (error.isEmpty())
            qFatal("a refused property list has no message");
        return 0;
    }
    checkRoundTrip(value, Serialization::Format::Xml);
    checkRoundTrip(value, Serialization::Format::Binary);
    return 0;
}
