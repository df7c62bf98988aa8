#include "takeover/dock_preference_backup.h"

#include <plist/plist.h>

#include <QSet>

#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>

namespace wharf {
namespace {

struct PlistDeleter {
    void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistDeleter>;

struct BinDeleter {
    void operator()(char* bytes) const { plist_to_bin_free(bytes); }
};

QByteArray toBinary(plist_t node)
{
    char* raw = nullptr;
    uint32_t length = 0;
    plist_to_bin(node, &raw, &length);
    const std::unique_ptr<char, BinDeleter> bytes(raw);
    return bytes ? QByteArray(bytes.get(), static_cast<qsizetype>(length)) : QByteArray();
}

Plist parse(const QByteArray& bytes)
{
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<int32_t>::max())
        return nullptr;
    plist_t node = nullptr;
    plist_from_memory(bytes.constData(), static_cast<uint32_t>(bytes.size()), &node);
    return Plist(node);
}

void setString(plist_t dict, const char* key, const QString& text)
{
    plist_dict_set_item(dict, key, plist_new_string(text.toUtf8().constData()));
}

std::optional<QString> stringValue(plist_t node)
{
    if (!node || plist_get_node_type(node) != PLIST_STRING)
        return std::nullopt;
    char* raw = nullptr;
    plist_get_string_val(node, &raw);
    const QString text = QString::fromUtf8(raw);
    free(raw);
    return text;
}

// Binary property lists store integers in up to 8 bytes; libplist hands them out unsigned.
std::optional<qint64> integerValue(plist_t node)
{
    if (!node || plist_get_node_type(node) != PLIST_UINT)
        return std::nullopt;
    uint64_t raw = 0;
    plist_get_uint_val(node, &raw);
    return static_cast<qint64>(raw);
}

} // namespace

QByteArray encodeDockValue(const NativeDockValue& value)
{
    const Plist array(plist_new_array());
    plist_t element = plist_new_dict();
    setString(element, "type", value.type);
    setString(element, "text", value.text);
    plist_array_append_item(array.get(), element);
    return toBinary(array.get());
}

std::optional<NativeDockValue> decodeDockValue(const QByteArray& bytes)
{
    const Plist array = parse(bytes);
    if (!array || plist_get_node_type(array.get()) != PLIST_ARRAY || plist_array_get_size(array.get()) != 1)
        return std::nullopt;
    const plist_t element = plist_array_get_item(array.get(), 0);
    if (plist_get_node_type(element) != PLIST_DICT || plist_dict_get_size(element) != 2)
        return std::nullopt;
    const auto type = stringValue(plist_dict_get_item(element, "type"));
    const auto text = stringValue(plist_dict_get_item(element, "text"));
    if (!type || !text)
        return std::nullopt;
    return NativeDockValue{*type, *text};
}

QByteArray encodeBackup(const DockPreferenceBackup& backup)
{
    const Plist root(plist_new_dict());
    plist_dict_set_item(root.get(), "version", plist_new_uint(static_cast<uint64_t>(backup.version)));
    setString(root.get(), "token", backup.token);
    plist_dict_set_item(root.get(), "ownerPID", plist_new_uint(static_cast<uint64_t>(static_cast<qint64>(backup.ownerPID))));
    setString(root.get(), "ownerStart", backup.ownerStart);
    plist_t values = plist_new_dict();
    for (auto it = backup.values.cbegin(); it != backup.values.cend(); ++it)
        plist_dict_set_item(values, it.key().toUtf8().constData(),
                            plist_new_data(it.value().constData(), static_cast<uint64_t>(it.value().size())));
    plist_dict_set_item(root.get(), "values", values);
    plist_t missing = plist_new_array();
    for (const QString& key : backup.missing)
        plist_array_append_item(missing, plist_new_string(key.toUtf8().constData()));
    plist_dict_set_item(root.get(), "missing", missing);
    return toBinary(root.get());
}

std::variant<DockPreferenceBackup, QString> decodeBackup(const QByteArray& bytes)
{
    const Plist root = parse(bytes);
    if (!root)
        return QStringLiteral("it is not a property list");
    if (plist_get_node_type(root.get()) != PLIST_DICT)
        return QStringLiteral("it does not hold a dictionary");

    DockPreferenceBackup backup;
    const auto version = integerValue(plist_dict_get_item(root.get(), "version"));
    const auto token = stringValue(plist_dict_get_item(root.get(), "token"));
    const auto ownerPID = integerValue(plist_dict_get_item(root.get(), "ownerPID"));
    const auto ownerStart = stringValue(plist_dict_get_item(root.get(), "ownerStart"));
    if (!version)
        return QStringLiteral("“version” is missing or not an integer");
    if (!token)
        return QStringLiteral("“token” is missing or not a string");
    if (!ownerPID || *ownerPID < std::numeric_limits<qint32>::min() || *ownerPID > std::numeric_limits<qint32>::max())
        return QStringLiteral("“ownerPID” is missing or not a process identifier");
    if (!ownerStart)
        return QStringLiteral("“ownerStart” is missing or not a string");
    backup.version = *version;
    backup.token = *token;
    backup.ownerPID = static_cast<qint32>(*ownerPID);
    backup.ownerStart = *ownerStart;

    const plist_t values = plist_dict_get_item(root.get(), "values");
    if (!values || plist_get_node_type(values) != PLIST_DICT)
        return QStringLiteral("“values” is missing or not a dictionary");
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(values, &iter);
    for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(values, iter, &key, &item);
        if (!key)
            break;
        const QString name = QString::fromUtf8(key);
        free(key);
        if (plist_get_node_type(item) != PLIST_DATA) {
            free(iter);
            return QStringLiteral("the value of “%1” is not data").arg(name);
        }
        char* data = nullptr;
        uint64_t length = 0;
        plist_get_data_val(item, &data, &length);
        backup.values.insert(name, QByteArray(data, static_cast<qsizetype>(length)));
        free(data);
    }
    free(iter);

    const plist_t missing = plist_dict_get_item(root.get(), "missing");
    if (!missing || plist_get_node_type(missing) != PLIST_ARRAY)
        return QStringLiteral("“missing” is missing or not an array");
    for (uint32_t i = 0; i < plist_array_get_size(missing); ++i) {
        const auto key = stringValue(plist_array_get_item(missing, i));
        if (!key)
            return QStringLiteral("“missing” holds something other than a string");
        backup.missing.append(*key);
    }
    return backup;
}

bool isValidBackup(const DockPreferenceBackup& backup, const QStringList& managedKeys)
{
    if (backup.version != 1)
        return false;
    const QSet<QString> saved(backup.values.keyBegin(), backup.values.keyEnd());
    const QSet<QString> missing(backup.missing.cbegin(), backup.missing.cend());
    if (saved.intersects(missing) || missing.size() != backup.missing.size())
        return false;
    return saved + missing == QSet<QString>(managedKeys.cbegin(), managedKeys.cend());
}

} // namespace wharf
