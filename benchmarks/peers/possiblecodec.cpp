#include "possiblecodec.h"

#include "base64table.h"
#include "recordjson.h"
#include "require.h"

#include <QtEndian>

#include <cstring>

namespace {

constexpr size_t PREFIX_SIZE = 4; ///< The length of the JSON text, in front of the zlib stream.

const Bytef* input(const std::string& bytes, size_t from = 0)
{
    return reinterpret_cast<const Bytef*>(bytes.data()) + from;
}

Bytef* output(std::string& bytes, size_t from = 0)
{
    return reinterpret_cast<Bytef*>(bytes.data()) + from;
}

/// Makes room without clearing what is there already.
void makeRoom(std::string& bytes, size_t size)
{
    if (bytes.size() < size) {
        bytes.resize(size);
    }
}

} // namespace

PossibleCodec::PossibleCodec()
{
    require(deflateInit(&m_deflater, Z_DEFAULT_COMPRESSION) == Z_OK && inflateInit(&m_inflater) == Z_OK,
            "zlib does not start");
}

PossibleCodec::~PossibleCodec()
{
    deflateEnd(&m_deflater);
    inflateEnd(&m_inflater);
}

QByteArray PossibleCodec::messageRequest(const MessageFields& message)
{
    m_json = R"({"data":{"UID":)";
    recordjson::append(m_json, message.uid);
    m_json += R"(,"date":)";
    recordjson::append(m_json, message.date);
    m_json += R"(,"message":)";
    recordjson::append(m_json, message.text);
    m_json += R"(,"reciever":)";
    recordjson::append(m_json, message.reciever);
    m_json += R"(,"sender":)";
    recordjson::append(m_json, message.sender);
    m_json += R"(},"operation":"sendMessage"})";
    return frame("[-REQUEST-]\r\n");
}

QByteArray PossibleCodec::settingsRequest(const QString& owner)
{
    m_json = R"({"data":{"owner":)";
    recordjson::append(m_json, owner);
    m_json += R"(},"operation":"loadSettings"})";
    return frame("[-REQUEST-]\r\n");
}

QByteArray PossibleCodec::acknowledgement(const MessageFields& message)
{
    m_json = R"({"data":{"reciever":)";
    recordjson::append(m_json, message.reciever);
    m_json += R"(,"sender":)";
    recordjson::append(m_json, message.sender);
    m_json += R"(,"uid":)";
    recordjson::append(m_json, message.uid);
    m_json += R"(},"operation":"sendMessage","result":{"code":0,"description":""}})";
    return frame("[-REPLY-]\r\n");
}

bool PossibleCodec::readResult(const QByteArray& payload)
{
    recordjson::Reader reader(inflate(payload));
    bool isDone = false;
    reader.object([&](std::string_view key) {
        if (key != "result") {
            reader.skip();
            return;
        }
        reader.object([&](std::string_view name) {
            if (name == "code") {
                isDone = reader.number() == 0;
            } else {
                reader.skip();
            }
        });
    });
    return isDone;
}

namespace {

PossibleCodec::Entry readEntry(recordjson::Reader& reader)
{
    PossibleCodec::Entry entry;
    reader.object([&](std::string_view key) {
        if (key == "group") {
            entry.group = reader.string();
        } else if (key == "key") {
            entry.key = reader.string();
        } else {
            entry.value = reader.scalar();
        }
    });
    return entry;
}

void readField(recordjson::Reader& reader, std::string_view key, PossibleCodec::Settings& settings)
{
    if (key == "settings") {
        reader.list([&] { settings.entries.push_back(readEntry(reader)); });
    } else if (key == "owner") {
        settings.owner = reader.string();
    } else if (key == "description") {
        settings.description = reader.string();
    } else if (key == "date") {
        settings.date = reader.date();
    } else {
        settings.mailOwner = reader.number() != 0;
    }
}

QVariantMap readMap(recordjson::Reader& reader)
{
    PossibleCodec::Entry entry = readEntry(reader);
    QVariantMap map;
    // In the order of the keys, so that nothing has to be looked for.
    map.insert(map.cend(), QStringLiteral("group"), entry.group);
    map.insert(map.cend(), QStringLiteral("key"), entry.key);
    map.insert(map.cend(), QStringLiteral("value"), entry.value);
    return map;
}

void readField(recordjson::Reader& reader, std::string_view key, tarvex::ClientSettings& settings)
{
    if (key == "settings") {
        QVariantList entries;
        reader.list([&] { entries.append(readMap(reader)); });
        settings.setSettings(entries);
    } else if (key == "owner") {
        settings.setOwner(reader.string());
    } else if (key == "description") {
        settings.setDescription(reader.string());
    } else if (key == "date") {
        settings.setDt(reader.date());
    } else {
        settings.setMailOwner(reader.number() != 0);
    }
}

void readField(recordjson::Reader& reader, std::string_view key, MessageFields& message)
{
    if (key == "UID") {
        message.uid = reader.string();
    } else if (key == "date") {
        message.date = reader.date();
    } else if (key == "message") {
        message.text = reader.string();
    } else if (key == "reciever") {
        message.reciever = reader.string();
    } else {
        message.sender = reader.string();
    }
}

/// The record that stands in the envelope as its data.
template <typename Record>
Record readRecord(const std::string& json)
{
    recordjson::Reader reader(json);
    Record record;
    reader.object([&](std::string_view key) {
        if (key == "data") {
            reader.object([&](std::string_view field) { readField(reader, field, record); });
        } else {
            reader.skip();
        }
    });
    return record;
}

} // namespace

int PossibleCodec::readSettings(const QByteArray& payload)
{
    return static_cast<int>(readRecord<Settings>(inflate(payload)).entries.size());
}

tarvex::ClientSettings PossibleRecordCodec::readClientSettings(const QByteArray& payload)
{
    return readRecord<tarvex::ClientSettings>(inflate(payload));
}

int PossibleRecordCodec::readSettings(const QByteArray& payload)
{
    return readClientSettings(payload).settings().size();
}

MessageFields PossibleCodec::readMessage(const QByteArray& payload)
{
    return readRecord<MessageFields>(inflate(payload));
}

/// The frame around the JSON text that was written last.
QByteArray PossibleCodec::frame(const char* header)
{
    makeRoom(m_block, PREFIX_SIZE + deflateBound(&m_deflater, m_json.size()));
    qToBigEndian(static_cast<quint32>(m_json.size()), m_block.data());
    deflateReset(&m_deflater);
    m_deflater.next_in = input(m_json);
    m_deflater.avail_in = static_cast<uInt>(m_json.size());
    m_deflater.next_out = output(m_block, PREFIX_SIZE);
    m_deflater.avail_out = static_cast<uInt>(m_block.size() - PREFIX_SIZE);
    require(deflate(&m_deflater, Z_FINISH) == Z_STREAM_END, "zlib does not compress");

    const size_t blockSize = PREFIX_SIZE + m_deflater.total_out;
    const size_t payloadSize = base64table::encodedSize(blockSize);
    const std::string lines = header + std::to_string(payloadSize) + "\r\n";
    QByteArray bytes(static_cast<int>(lines.size() + payloadSize), Qt::Uninitialized);
    std::memcpy(bytes.data(), lines.data(), lines.size());
    base64table::encode(m_block.data(), blockSize, bytes.data() + lines.size());
    return bytes;
}

const std::string& PossibleCodec::inflate(const QByteArray& payload)
{
    const auto size = static_cast<size_t>(payload.size());
    makeRoom(m_block, size);
    const size_t blockSize = base64table::decode(payload.constData(), size, m_block.data());
    m_json.resize(qFromBigEndian<quint32>(m_block.data()));
    inflateReset(&m_inflater);
    m_inflater.next_in = input(m_block, PREFIX_SIZE);
    m_inflater.avail_in = static_cast<uInt>(blockSize - PREFIX_SIZE);
    m_inflater.next_out = output(m_json);
    m_inflater.avail_out = static_cast<uInt>(m_json.size());
    require(::inflate(&m_inflater, Z_FINISH) == Z_STREAM_END, "zlib does not inflate");
    return m_json;
}
