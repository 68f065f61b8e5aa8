-- Shows the frames of the Tarvex bus in Wireshark and tshark, on the ports 45535 and 45537.
--
--     tshark -X lua_script:tarvexbus.lua -r FILE
--
-- A frame is a header line, a size line and a payload. The payload is base64 of four bytes with a length and a zlib
-- stream, whose content is a JSON text. docs/wire.md describes it; docs/wireshark.md describes this file.

local QUERY_PORT = 45535
local RECEIVER_PORT = 45537

-- The bounds of docs/wire.md.
local MAX_PAYLOAD = 48 * 1024 * 1024
local MAX_TEXT = 32 * 1024 * 1024
-- With its line end.
local MAX_LINE = 15

local HEADERS = { ["[-REQUEST-]"] = "REQUEST", ["[-REPLY-]"] = "REPLY" }

local bus = Proto("tarvexbus", "Tarvex Bus")

local fields = {
    header = ProtoField.string("tarvexbus.header", "Header line"),
    kind = ProtoField.string("tarvexbus.kind", "Kind"),
    size = ProtoField.uint32("tarvexbus.size", "Size line", base.DEC),
    payload = ProtoField.string("tarvexbus.payload", "Payload"),
    length = ProtoField.uint32("tarvexbus.length", "Length of the JSON text", base.DEC),
    port = ProtoField.string("tarvexbus.port", "Port"),
    direction = ProtoField.string("tarvexbus.direction", "Direction"),
    client = ProtoField.string("tarvexbus.client", "Client"),
    operation = ProtoField.string("tarvexbus.operation", "Operation"),
    owner = ProtoField.string("tarvexbus.owner", "Owner"),
    sender = ProtoField.string("tarvexbus.sender", "Sender"),
    reciever = ProtoField.string("tarvexbus.reciever", "Addressee"),
    uid = ProtoField.string("tarvexbus.uid", "UID"),
    command = ProtoField.string("tarvexbus.command", "Command"),
    code = ProtoField.uint32("tarvexbus.code", "Code", base.DEC),
    description = ProtoField.string("tarvexbus.description", "Description"),
    request_in = ProtoField.framenum("tarvexbus.request_in", "Request in", base.NONE, frametype.REQUEST),
    response_in = ProtoField.framenum("tarvexbus.response_in", "Reply in", base.NONE, frametype.RESPONSE),
    first_in = ProtoField.framenum("tarvexbus.first_in", "Pushed before in", base.NONE, frametype.DUP_ACK),
    time = ProtoField.relative_time("tarvexbus.time", "Time since the request"),
    awaited = ProtoField.uint32("tarvexbus.awaited", "Bytes that are still awaited", base.DEC),
    garbage = ProtoField.bytes("tarvexbus.garbage", "No frame"),
}
bus.fields = fields

local experts = {
    bad_header = ProtoExpert.new("tarvexbus.bad_header", "No header line", expert.group.MALFORMED,
        expert.severity.ERROR),
    bad_size = ProtoExpert.new("tarvexbus.bad_size", "The size line is wrong", expert.group.MALFORMED,
        expert.severity.ERROR),
    bad_base64 = ProtoExpert.new("tarvexbus.bad_base64", "The payload is no base64", expert.group.MALFORMED,
        expert.severity.ERROR),
    bad_zlib = ProtoExpert.new("tarvexbus.bad_zlib", "The block cannot be inflated", expert.group.MALFORMED,
        expert.severity.ERROR),
    bad_length = ProtoExpert.new("tarvexbus.bad_length", "The length of the JSON text is wrong",
        expert.group.MALFORMED, expert.severity.ERROR),
    bad_json = ProtoExpert.new("tarvexbus.bad_json", "The text is no JSON object", expert.group.MALFORMED,
        expert.severity.ERROR),
    cut = ProtoExpert.new("tarvexbus.cut", "The capture does not hold the whole frame", expert.group.UNDECODED,
        expert.severity.WARN),
    unasked = ProtoExpert.new("tarvexbus.unasked", "A reply without a request in the capture",
        expert.group.SEQUENCE, expert.severity.WARN),
    other_operation = ProtoExpert.new("tarvexbus.other_operation", "A reply to another operation",
        expert.group.SEQUENCE, expert.severity.WARN),
    refused = ProtoExpert.new("tarvexbus.refused", "Refused", expert.group.RESPONSE_CODE, expert.severity.NOTE),
    again = ProtoExpert.new("tarvexbus.again", "The same message was pushed before", expert.group.SEQUENCE,
        expert.severity.NOTE),
}
bus.experts = { experts.bad_header, experts.bad_size, experts.bad_base64, experts.bad_zlib, experts.bad_length,
    experts.bad_json, experts.cut, experts.unasked, experts.other_operation, experts.refused, experts.again }

local tcp_stream = Field.new("tcp.stream")

-- JSON, as far as this file needs it: a decoder that gives nil for what is no JSON. Null becomes NULL.

local NULL = {}
local json_value

local ESCAPES = { b = "\b", f = "\f", n = "\n", r = "\r", t = "\t", ['"'] = '"', ["\\"] = "\\", ["/"] = "/" }

local function utf8_of(number)
    if number < 0x80 then
        return string.char(number)
    elseif number < 0x800 then
        return string.char(0xC0 + math.floor(number / 0x40), 0x80 + number % 0x40)
    elseif number < 0x10000 then
        return string.char(0xE0 + math.floor(number / 0x1000), 0x80 + math.floor(number / 0x40) % 0x40,
            0x80 + number % 0x40)
    end
    return string.char(0xF0 + math.floor(number / 0x40000), 0x80 + math.floor(number / 0x1000) % 0x40,
        0x80 + math.floor(number / 0x40) % 0x40, 0x80 + number % 0x40)
end

local function unescape(text)
    -- The halves of a pair become three bytes each, and then the pair becomes four.
    text = text:gsub("\\(.)(%x?%x?%x?%x?)", function(mark, digits)
        if mark == "u" and #digits == 4 then
            return utf8_of(tonumber(digits, 16))
        end
        return (ESCAPES[mark] or mark) .. digits
    end)
    return (text:gsub("\237([\160-\175])([\128-\191])\237([\176-\191])([\128-\191])", function(a, b, c, d)
        local high = (a:byte() - 0xA0) * 0x40 + b:byte() - 0x80
        local low = (c:byte() - 0xB0) * 0x40 + d:byte() - 0x80
        return utf8_of(0x10000 + high * 0x400 + low)
    end))
end

local function json_string(text, at)
    local from = at + 1
    local to = from
    while true do
        to = text:find('["\\]', to)
        if not to then
            return nil
        elseif text:sub(to, to) == '"' then
            local value = text:sub(from, to - 1)
            return value:find("\\", 1, true) and unescape(value) or value, to + 1
        end
        to = to + 2
    end
end

local function json_members(text, at, close, read)
    at = text:find("%S", at + 1)
    if at and text:sub(at, at) == close then
        return at + 1
    end
    while at do
        at = read(at)
        at = at and text:find("%S", at)
        local mark = at and text:sub(at, at)
        if mark == close then
            return at + 1
        elseif mark ~= "," then
            return nil
        end
        at = text:find("%S", at + 1)
    end
    return nil
end

local function json_object(text, at, depth)
    local object = {}
    local after = json_members(text, at, "}", function(from)
        if text:sub(from, from) ~= '"' then
            return nil
        end
        local key, colon = json_string(text, from)
        colon = colon and text:match("^%s*():", colon)
        if not colon then
            return nil
        end
        local value, next_at = json_value(text, colon + 1, depth + 1)
        object[key] = value
        return next_at
    end)
    return after and object, after
end

local function json_array(text, at, depth)
    local list = {}
    local after = json_members(text, at, "]", function(from)
        local value, next_at = json_value(text, from, depth + 1)
        list[#list + 1] = value
        return next_at
    end)
    return after and list, after
end

function json_value(text, at, depth)
    at = text:find("%S", at)
    if not at or depth > 100 then
        return nil
    end
    local mark = text:sub(at, at)
    if mark == "{" then
        return json_object(text, at, depth)
    elseif mark == "[" then
        return json_array(text, at, depth)
    elseif mark == '"' then
        return json_string(text, at)
    end
    local word, after = text:match("^(%a+)()", at)
    if word == "true" or word == "false" then
        return word == "true", after
    elseif word == "null" then
        return NULL, after
    end
    local number, number_end = text:match("^(%-?%d+%.?%d*[eE]?[-+]?%d*)()", at)
    return number and tonumber(number), number_end
end

-- \return the object that the whole text holds, or nil
local function json_decode(text)
    local value, after = json_value(text, 1, 0)
    local first = text:match("^%s*(.)")
    if value == nil or first ~= "{" or text:find("%S", after) then
        return nil
    end
    return value
end

-- What is known of a capture. It is built while the frames are seen for the first time, in order.

local streams -- of each TCP stream: the client's name, and the requests that wait for a reply
local notes   -- of each bus frame: what was found out when it was seen for the first time

function bus.init()
    streams = {}
    notes = {}
end

local function stream_state(number)
    streams[number] = streams[number] or { client = "", asked = {}, pushed = {}, pushes = {} }
    return streams[number]
end

local function text_of(value)
    if type(value) == "string" then
        return value
    elseif type(value) == "number" then
        return string.format("%.14g", value)
    end
    return ""
end

local function table_of(value)
    return type(value) == "table" and value ~= NULL and value or {}
end

-- The names in a list of names, or of objects with a name.
local function names_of(list)
    local names = {}
    for _, item in ipairs(table_of(list)) do
        names[#names + 1] = type(item) == "table" and text_of(item.name) or text_of(item)
    end
    return table.concat(names, ",")
end

-- The parts of an envelope that have a field of their own.
local function parts_of(envelope)
    local data = table_of(envelope.data)
    local result = table_of(envelope.result)
    local parts = {
        operation = text_of(envelope.operation),
        name = text_of(data.name),
        owner = text_of(data.owner),
        sender = text_of(data.sender),
        reciever = text_of(data.reciever),
        uid = text_of(data.UID or data.uid),
        message = type(data.message) == "string" and data.message or nil,
        state = type(data.state) == "string" and data.state or nil,
        names = names_of(data.publishers),
        owners = text_of(data.owners),
        code = type(result.code) == "number" and result.code % 65536 or 0,
        description = text_of(result.description),
        command = "",
    }
    local command = parts.message and json_decode(parts.message)
    if command then
        parts.command = text_of(command.cmd)
    end
    return parts
end

local function message_key(parts)
    return parts.sender .. "\0" .. parts.reciever .. "\0" .. parts.uid
end

-- Removes the oldest request of this operation, and those before it, which will get no reply any more.
local function take_request(requests, operation)
    for index, request in ipairs(requests) do
        if request.parts.operation == operation then
            for _ = 1, index do
                table.remove(requests, 1)
            end
            return request, false
        end
    end
    return table.remove(requests, 1), true
end

local function note_request(state, note, from_client)
    if from_client then
        if note.parts.operation == "handshake" then
            state.client = note.parts.name
        end
        table.insert(state.asked, note)
    else
        local key = message_key(note.parts)
        note.first = state.pushes[key]
        state.pushes[key] = note.number
        state.pushed[key] = note
    end
end

local function note_reply(state, note, from_client)
    local request, is_other
    if from_client then
        local key = message_key(note.parts)
        request = state.pushed[key]
        state.pushed[key] = nil
    else
        request, is_other = take_request(state.asked, note.parts.operation)
    end
    if request then
        note.request = request
        note.is_other = is_other
        request.reply = note
    end
end

-- What is known about the frame. It is found out at the first look, because later looks come in any order.
local function note_of(context, parts)
    local note = notes[context.key]
    if not note then
        local state = stream_state(context.stream)
        note = { number = context.number, time = context.time, parts = parts }
        if context.kind == "REQUEST" then
            note_request(state, note, context.from_client)
        else
            note_reply(state, note, context.from_client)
        end
        note.client = state.client
        notes[context.key] = note
    end
    return note
end

-- The frame as a tree.

local function generated(tree, field, value)
    if value ~= nil and value ~= "" then
        tree:add(field, value):set_generated()
    end
end

local function add_link(tree, note, kind)
    generated(tree, fields.client, note.client)
    if note.reply then
        generated(tree, fields.response_in, note.reply.number)
    end
    if note.first then
        generated(tree, fields.first_in, note.first)
        tree:add_proto_expert_info(experts.again)
    end
    if note.request then
        generated(tree, fields.request_in, note.request.number)
        local took = math.max(0, note.time - note.request.time)
        local seconds = math.floor(took)
        generated(tree, fields.time, NSTime.new(seconds, math.floor((took - seconds) * 1e9 + 0.5)))
        if note.is_other then
            tree:add_proto_expert_info(experts.other_operation,
                "A reply to " .. note.parts.operation .. " where one to " .. note.request.parts.operation .. " is due")
        end
    elseif kind == "REPLY" then
        tree:add_proto_expert_info(experts.unasked)
    end
end

local function add_text_as_json(tree, pinfo, text, name)
    if text and text:find("^%s*[%[{]") then
        local info = tostring(pinfo.cols.info)
        Dissector.get("json"):call(ByteArray.new(text, true):tvb(name), pinfo, tree)
        pinfo.cols.info = info
    end
end

local function add_parts(tree, range, parts, kind)
    tree:add(fields.operation, range, parts.operation)
    for _, name in ipairs({ "owner", "sender", "reciever", "uid", "command" }) do
        if parts[name] ~= "" then
            tree:add(fields[name], range, parts[name])
        end
    end
    if kind == "REPLY" then
        tree:add(fields.code, range, parts.code)
        if parts.description ~= "" then
            tree:add(fields.description, range, parts.description)
        end
        if parts.code ~= 0 then
            tree:add_proto_expert_info(experts.refused, "Refused: " .. parts.code .. " " .. parts.description)
        end
    end
end

-- One line about the frame: "REQUEST loadState printer", "REPLY loadState 5 There is no state for client".
local function summary(parts, kind, from_client)
    local words = { kind, parts.operation }
    local function add(word)
        if word ~= "" then
            words[#words + 1] = word
        end
    end
    if parts.operation == "sendMessage" then
        if parts.sender ~= "" or parts.reciever ~= "" then
            add(parts.sender .. " -> " .. (parts.reciever ~= "" and parts.reciever or "(subscribers)"))
        end
        add(parts.command)
    elseif kind == "REQUEST" then
        add(parts.name)
        add(parts.owner)
        add(parts.owners)
        add(parts.names)
    end
    if kind == "REPLY" then
        add(tostring(parts.code))
        add(parts.description)
    end
    return (table.concat(words, " "):gsub("%c", " "))
end

-- The JSON text of a payload. \return nil and what is wrong with it.
local function inflate(payload)
    if #payload % 4 ~= 0 or not payload:find("^[%w+/]*=?=?$") or payload == "" then
        return nil, experts.bad_base64
    end
    local block = ByteArray.new(payload, true):base64_decode()
    if block:len() <= 4 then
        return nil, experts.bad_zlib
    end
    local block_tvb = block:tvb("Block")
    local length = block_tvb(0, 4):uint()
    if length > MAX_TEXT then
        return nil, experts.bad_length, length
    end
    local inflated = block_tvb(4):uncompress("JSON text")
    if not inflated or inflated:len() == 0 then
        return nil, experts.bad_zlib, length
    end
    return inflated, inflated:len() ~= length and experts.bad_length or nil, length
end

local function dissect_payload(context, range, pinfo, tree)
    local payload = range:raw()
    tree:add(fields.payload, range, payload)
    local inflated, problem, length = inflate(payload)
    if length then
        tree:add(fields.length, range, length)
    end
    if problem then
        tree:add_proto_expert_info(problem)
    end
    if not inflated then
        return context.kind .. " damaged"
    end
    local envelope = json_decode(inflated:raw())
    if not envelope then
        tree:add_proto_expert_info(experts.bad_json)
        return context.kind .. " damaged"
    end
    local parts = parts_of(envelope)
    local note = note_of(context, parts)
    add_parts(tree, inflated, parts, context.kind)
    add_link(tree, note, context.kind)
    add_text_as_json(tree, pinfo, inflated:raw(), "JSON text")
    add_text_as_json(tree, pinfo, parts.message, "Message text")
    add_text_as_json(tree, pinfo, parts.state, "State text")
    return summary(parts, context.kind, context.from_client)
end

-- The places of the frame's parts.

-- The next header line in \a text behind \a from, or behind the end.
local function next_header(text, from)
    local request = text:find("[-REQUEST-]\r\n", from, true) or #text + 1
    local reply = text:find("[-REPLY-]\r\n", from, true) or #text + 1
    return math.min(request, reply)
end

-- Whether what has come may be the beginning of a header line.
local function may_become_header(text, at)
    local rest = text:sub(at, at + MAX_LINE)
    for header in pairs(HEADERS) do
        local whole = header .. "\r\n"
        if #rest < #whole and whole:sub(1, #rest) == rest then
            return true
        end
    end
    return false
end

-- Finds the frame at \a at. \return one of
--   "more" and how many bytes are missing, nil when that is not known
--   "garbage" and where the next header line begins
--   "frame" and a table with the places, and what is wrong with the size line
local function find_frame(text, at)
    local line, size_at = text:match("^([^\r\n]*)\r\n()", at)
    local kind = HEADERS[line or ""]
    if not kind then
        if may_become_header(text, at) then
            return "more"
        end
        return "garbage", next_header(text, at + 1)
    end
    local digits, payload_at = text:match("^([^\r\n]*)\r\n()", size_at)
    if not digits then
        if #text - size_at + 1 < MAX_LINE then
            return "more"
        end
        return "frame", { kind = kind, header = line, size_at = size_at, payload_at = size_at,
            after = next_header(text, size_at), problem = "There is no size line" }
    end
    local frame = { kind = kind, header = line, digits = digits, size_at = size_at, payload_at = payload_at }
    local size = digits:match("^%d+$") and tonumber(digits)
    if not size or size > MAX_PAYLOAD then
        frame.problem = size and "The size line is above 48 MiB" or "The size line is no number"
        frame.after = next_header(text, payload_at)
        return "frame", frame
    end
    frame.after = payload_at + size
    frame.size = size
    local next_at = next_header(text, payload_at)
    if next_at < frame.after and next_at <= #text then
        frame.problem = string.format("The size line says %d, and a header line begins after %d bytes", size,
            next_at - payload_at)
        frame.after = next_at
    elseif frame.after - 1 > #text then
        return "more", frame.after - 1 - #text
    elseif size == 0 or size % 4 ~= 0 then
        frame.problem = string.format("The size line says %d, which is no length of base64", size)
    end
    return "frame", frame
end

local function add_garbage(range, tree)
    local item = tree:add(bus, range, "Tarvex Bus, no frame")
    item:add(fields.garbage, range)
    item:add_proto_expert_info(experts.bad_header)
end

local function dissect_frame(context, tvb, frame, pinfo, tree)
    local start = context.at - 1
    local item = tree:add(bus, tvb(start, frame.after - 1 - start))
    item:add(fields.header, tvb(start, #frame.header), frame.header)
    item:add(fields.kind, tvb(start, #frame.header), frame.kind):set_generated()
    generated(item, fields.port, context.port == QUERY_PORT and "query" or "receiver")
    generated(item, fields.direction, context.from_client and "to bus" or "from bus")
    if frame.size then
        item:add(fields.size, tvb(frame.size_at - 1, #frame.digits), frame.size)
    end
    if frame.problem then
        item:add_proto_expert_info(experts.bad_size, frame.problem)
    end
    local length = frame.after - frame.payload_at
    local words = frame.kind .. " damaged"
    if length > 0 then
        words = dissect_payload(context, tvb(frame.payload_at - 1, length), pinfo, item)
    end
    item:append_text(", " .. words)
    return words
end

-- A packet may hold several frames, and Wireshark may hand it over in parts. The end of a payload tells the parts
-- apart, because the checksum of its content stands there.
local function key_of(number, text, at, frame)
    return table.concat({ number, #text, at, text:sub(math.max(frame.payload_at, frame.after - 16), frame.after - 1) }, ":")
end

local function context_of(pinfo, text, at, frame)
    local from_client = pinfo.dst_port == QUERY_PORT or pinfo.dst_port == RECEIVER_PORT
    return {
        kind = frame.kind,
        at = at,
        from_client = from_client,
        port = from_client and pinfo.dst_port or pinfo.src_port,
        stream = tcp_stream().value,
        number = pinfo.number,
        time = pinfo.rel_ts,
        key = key_of(pinfo.number, text, at, frame),
    }
end

-- Asks for more of the stream, and shows how much. When there is no more to be had, the frame is shown as cut.
local function ask_for_more(pinfo, tvb, at, missing, tree)
    if pinfo.can_desegment > 0 then
        pinfo.desegment_offset = at - 1
        pinfo.desegment_len = missing or DESEGMENT_ONE_MORE_SEGMENT
        if missing then
            tree:add(bus, tvb(at - 1), "Tarvex Bus, the beginning of a frame"):add(fields.awaited, missing):set_generated()
        end
        return nil
    end
    tree:add(bus, tvb(at - 1), "Tarvex Bus, cut"):add_proto_expert_info(experts.cut)
    return "cut"
end

function bus.dissector(tvb, pinfo, tree)
    local text = tvb:raw()
    local words = {}
    local at = 1
    while at <= #text do
        local found, detail = find_frame(text, at)
        if found == "more" then
            words[#words + 1] = ask_for_more(pinfo, tvb, at, detail, tree)
            break
        elseif found == "garbage" then
            add_garbage(tvb(at - 1, detail - at), tree)
            words[#words + 1] = "no frame"
            at = detail
        else
            words[#words + 1] = dissect_frame(context_of(pinfo, text, at, detail), tvb, detail, pinfo, tree)
            at = detail.after
        end
    end
    if #words > 0 then
        pinfo.cols.protocol = "TARVEX"
        pinfo.cols.info = table.concat(words, "; ")
    end
    return #text
end

local ports = DissectorTable.get("tcp.port")
ports:add(QUERY_PORT, bus)
ports:add(RECEIVER_PORT, bus)
