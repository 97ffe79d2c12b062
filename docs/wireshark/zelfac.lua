-- Shows frames of the factory serial protocol in Wireshark and tshark.
--
-- The tables are made by "zelline commands --lua" from the command catalogue that the application and the line tool
-- share, the rest is written here. Put it into Wireshark's folder of personal Lua plugins (Help, About, Folders), or
--
--     tshark -X lua_script:zelfac.lua -r session.pcapng
--
-- It reads captures of the link type USER0 (147), as "zelline --trace FILE.pcapng" writes them.

-- Command id: name; form of the request's payload; form of the data in an answer.
local commands = {
  [0x1273] = {"connect", "text", ""},
  [0x1274] = {"write PCB serial number", "text", ""},
  [0x1275] = {"read PCB serial number", "text", "text"},
  [0x1276] = {"ignored", "text", ""},
  [0x1277] = {"empty query", "text", ""},
  [0x1278] = {"write MAC address", "text", ""},
  [0x1279] = {"read MAC address", "text", "text or unreadable"},
  [0x127A] = {"not supported", "text", ""},
  [0x127B] = {"read Wi-Fi MAC address", "text", "text or unreadable"},
  [0x127C] = {"ignored", "text", ""},
  [0x127D] = {"empty query", "text", ""},
  [0x127E] = {"ignored", "text", ""},
  [0x127F] = {"empty query", "text", ""},
  [0x1280] = {"empty query", "text", ""},
  [0x1281] = {"HDCP 1.4 key chunk", "chunk", ""},
  [0x1282] = {"HDCP 1.4 key checksum", "text", "big"},
  [0x1283] = {"HDCP 2.2 key chunk", "chunk", ""},
  [0x1284] = {"HDCP 2.2 key checksum", "text", "big"},
  [0x1285] = {"CI+ key chunk", "chunk", ""},
  [0x1286] = {"CI+ key checksum", "text", "big"},
  [0x1287] = {"acknowledge", "text", ""},
  [0x1288] = {"source check", "text", ""},
  [0x1289] = {"acknowledge", "text", ""},
  [0x128A] = {"CI module detected", "text", ""},
  [0x128B] = {"acknowledge", "text", ""},
  [0x128C] = {"acknowledge", "text", ""},
  [0x128D] = {"backlight full", "text", ""},
  [0x128E] = {"backlight off", "text", ""},
  [0x128F] = {"backlight full", "text", ""},
  [0x1290] = {"acknowledge", "text", ""},
  [0x1291] = {"acknowledge", "text", ""},
  [0x1292] = {"Wi-Fi test progress", "text", "byte"},
  [0x1293] = {"wired network up", "text", ""},
  [0x1294] = {"Bluetooth search", "text", ""},
  [0x1295] = {"read backlight", "text", "byte"},
  [0x1296] = {"read running time", "text", "little"},
  [0x1297] = {"read software version", "text", "text"},
  [0x1298] = {"write test result", "text", ""},
  [0x1299] = {"leave factory mode", "text", ""},
  [0x129A] = {"factory finish", "text", ""},
  [0x129B] = {"factory finish", "text", ""},
  [0x129C] = {"USB port check", "text", ""},
  [0x129D] = {"write MAC address, tagged", "text", ""},
  [0x129E] = {"named query", "text", "text or unreadable"},
  [0x129F] = {"set main volume", "byte", ""},
  [0x12A0] = {"LED colour", "text", ""},
  [0x12A1] = {"ESN/ULPK/MAC file chunk", "chunk", ""},
  [0x12A2] = {"Widevine keybox chunk", "chunk", ""},
  [0x12A3] = {"ESN/ULPK/MAC file checksum", "text", "big"},
  [0x12A4] = {"Widevine keybox checksum", "text", "big"},
  [0x12A5] = {"panel, aspect and Ethernet", "text", ""},
  [0x12A6] = {"factory finish", "text", ""},
  [0x12A7] = {"configuration file chunk", "chunk", "big"},
  [0x12A8] = {"ignored", "text", ""},
  [0x12A9] = {"ignored", "text", ""},
  [0x12AA] = {"ignored", "text", ""},
  [0x12AB] = {"read running time", "text", "little"},
  [0x12AC] = {"ignored", "text", ""},
  [0x12AD] = {"ignored", "text", ""},
  [0x12AE] = {"ignored", "text", ""},
  [0x12AF] = {"ignored", "text", ""},
  [0x12B0] = {"ignored", "text", ""},
  [0x12B1] = {"ignored", "text", ""},
  [0x12B2] = {"ignored", "text", ""},
  [0x12B3] = {"Netflix key chunk", "chunk", ""},
  [0x12B4] = {"Netflix key checksum", "text", "big"},
  [0x12B5] = {"ignored", "text", ""},
  [0x12B6] = {"ignored", "text", ""},
  [0x12B7] = {"ignored", "text", ""},
  [0x12B8] = {"ignored", "text", ""},
  [0x12B9] = {"CI+ ECP key chunk", "chunk", ""},
  [0x12BA] = {"CI+ ECP key checksum", "text", "big"},
}

local READY, KEY_PRESS = 0x1272, 0x1287
local START, END, LONGEST, OVERHEAD = 0x79, 0xFE, 64, 9

local names = {[READY] = "ready"}
for id, command in pairs(commands) do
  names[id] = command[1]
end

local zelfac = Proto("zelfac", "Factory serial protocol")
local field = {
  role = ProtoField.string("zelfac.role", "Role"),
  start = ProtoField.uint8("zelfac.start", "Start", base.HEX),
  kind = ProtoField.uint8("zelfac.kind", "Kind", base.HEX, {
    [0x00] = "request or ready frame", [0x10] = "status or answer without data", [0x11] = "answer with data",
    [0x20] = "link closing"}),
  id = ProtoField.uint16("zelfac.id", "Command", base.HEX, names),
  name = ProtoField.string("zelfac.name", "Name"),
  length = ProtoField.uint8("zelfac.length", "Length"),
  payload = ProtoField.bytes("zelfac.payload", "Payload"),
  text = ProtoField.string("zelfac.text", "Text"),
  number = ProtoField.uint32("zelfac.number", "Number"),
  crc = ProtoField.uint32("zelfac.crc", "CRC-32", base.HEX),
  status = ProtoField.uint8("zelfac.status", "Status", base.DEC, {[0] = "success", [1] = "failure"}),
  index = ProtoField.uint8("zelfac.index", "Chunk index"),
  total = ProtoField.uint8("zelfac.total", "Number of chunks"),
  trailerA = ProtoField.uint8("zelfac.trailer_a", "Trailer A", base.HEX),
  trailerB = ProtoField.uint8("zelfac.trailer_b", "Trailer B", base.HEX),
  checksum = ProtoField.uint8("zelfac.checksum", "Checksum", base.HEX),
  good = ProtoField.bool("zelfac.checksum.good", "Checksum is good"),
  stop = ProtoField.uint8("zelfac.end", "End", base.HEX),
  flush = ProtoField.bytes("zelfac.flush", "Flush"),
  noise = ProtoField.bytes("zelfac.noise", "No frame"),
  leftOut = ProtoField.bool("zelfac.left_out", "Bytes of a file were left out"),
}
zelfac.fields = field
local badChecksum = ProtoExpert.new("zelfac.checksum.bad", "The checksum is wrong", expert.group.CHECKSUM,
                                    expert.severity.ERROR)
local noFrame = ProtoExpert.new("zelfac.noise.expert", "Bytes that are no frame", expert.group.MALFORMED,
                                expert.severity.WARN)
zelfac.experts = {badChecksum, noFrame}

-- What a frame is, by its kind and id; who sent it is not asked, so that captures of others are read as well.
local function roleOf(kind, id)
  if kind == 0x11 and id == KEY_PRESS then return "key press" end
  if kind == 0x10 or kind == 0x11 or kind == 0x20 then return "answer" end
  return id == READY and "ready" or "request"
end

local function isPrintable(range)
  local bytes = range:bytes()
  for i = 0, bytes:len() - 1 do
    if bytes:get_index(i) < 0x20 or bytes:get_index(i) > 0x7E then return false end
  end
  return true
end

-- Adds what the payload says, and returns it in words.
local function addPayload(tree, range, role, kind, form)
  local size = range:len()
  if role == "answer" and kind == 0x10 then
    if size ~= 1 then return "" end
    tree:add(field.status, range)
    return range:uint() == 0 and "success" or range:uint() == 1 and "failure" or "status " .. range:uint()
  end
  if form == "chunk" then return size .. " bytes" end
  if form == "text or unreadable" and size == 1 and range:uint() == 1 then return "cannot be read" end
  if form == "byte" and size == 1 then
    tree:add(field.number, range)
    return tostring(range:uint())
  end
  if form == "little" and size == 4 then
    tree:add_le(field.number, range)
    return tostring(range:le_uint())
  end
  if form == "big" and size == 4 then
    tree:add(field.crc, range)
    return string.format("CRC-32 %08X", range:uint())
  end
  if isPrintable(range) then
    tree:add(field.text, range)
    return '"' .. range:string() .. '"'
  end
  return tostring(range:bytes())
end

-- The length of the frame at `at` in bytes, when its frame stands there, good checksum or not; else nil.
local function frameAt(buffer, at)
  if buffer(at, 1):uint() ~= START or buffer:len() - at < OVERHEAD then return nil end
  local length = buffer(at + 4, 1):uint()
  local size = length + OVERHEAD
  if length > LONGEST or buffer:len() - at < size or buffer(at + size - 1, 1):uint() ~= END then return nil end
  return size
end

-- Zero bytes that end whatever the set still waits for: as many as the longest frame has, or more.
local function isFlush(range)
  local bytes = range:bytes()
  for i = 0, bytes:len() - 1 do
    if bytes:get_index(i) ~= 0 then return false end
  end
  return bytes:len() >= LONGEST + OVERHEAD
end

local function addHead(buffer, at, tree)
  local kind, id, length = buffer(at + 1, 1):uint(), buffer(at + 2, 2):uint(), buffer(at + 4, 1):uint()
  local role, command = roleOf(kind, id), commands[id] or {names[id] or "outside the commands", "text", ""}
  tree:add(field.role, role):set_generated()
  tree:add(field.start, buffer(at, 1))
  tree:add(field.kind, buffer(at + 1, 1))
  tree:add(field.id, buffer(at + 2, 2))
  tree:add(field.name, command[1]):set_generated()
  tree:add(field.length, buffer(at + 4, 1))
  return kind, id, length, role, command
end

local function addFrame(buffer, at, size, root)
  local tree = root:add(zelfac, buffer(at, size))
  local kind, id, length, role, command = addHead(buffer, at, tree)
  local form = role == "request" and command[2] or role == "key press" and "text" or command[3]
  local words = ""
  if length > 0 then
    tree:add(field.payload, buffer(at + 5, length))
    if role ~= "ready" then words = addPayload(tree, buffer(at + 5, length), role, kind, form) end
  end
  local isChunk = role == "request" and form == "chunk"
  tree:add(isChunk and field.index or field.trailerA, buffer(at + 5 + length, 1))
  tree:add(isChunk and field.total or field.trailerB, buffer(at + 6 + length, 1))
  if isChunk then
    words = string.format("chunk %d of %d, %s", buffer(at + 5 + length, 1):uint() + 1, buffer(at + 6 + length, 1):uint(),
                          words)
  end
  local sum = 0
  for i = 1, length + 7 do
    sum = sum + buffer(at + i, 1):uint()
  end
  local checksum = tree:add(field.checksum, buffer(at + 7 + length, 1))
  local isGood = sum % 256 == 0
  tree:add(field.good, buffer(at + 7 + length, 1), isGood):set_generated()
  if not isGood then
    checksum:add_proto_expert_info(badChecksum)
    words = words .. (words == "" and "" or ", ") .. "checksum is wrong"
  end
  tree:add(field.stop, buffer(at + 8 + length, 1))
  words = string.format("%s 0x%04X %s%s%s", role, id, command[1], words == "" and "" or ": ", words)
  tree:set_text("Factory serial protocol, " .. words)
  return words
end

function zelfac.dissector(buffer, pinfo, root)
  pinfo.cols.protocol = "zelfac"
  if pinfo.p2p_dir == P2P_DIR_SENT then
    pinfo.cols.src, pinfo.cols.dst = "line", "set"
  elseif pinfo.p2p_dir == P2P_DIR_RECV then
    pinfo.cols.src, pinfo.cols.dst = "set", "line"
  end
  local told = {}
  if buffer:len() < buffer:reported_len() and buffer:len() == 5 then
    local tree = root:add(zelfac, buffer())
    local _, id, length, role, command = addHead(buffer, 0, tree)
    tree:add(field.leftOut, true):set_generated()
    told[1] = string.format("%s 0x%04X %s: %d bytes, left out of the capture", role, id, command[1], length)
    tree:set_text("Factory serial protocol, " .. told[1])
  else
    local at = 0
    while at < buffer:len() do
      local size = frameAt(buffer, at)
      if size then
        told[#told + 1] = addFrame(buffer, at, size, root)
        at = at + size
      else
        local behind = at + 1
        while behind < buffer:len() and not frameAt(buffer, behind) do
          behind = behind + 1
        end
        local range = buffer(at, behind - at)
        local tree = root:add(zelfac, range)
        if isFlush(range) then
          tree:add(field.role, "flush"):set_generated()
          tree:add(field.flush, range)
          told[#told + 1] = "flush, " .. range:len() .. " zero bytes"
        else
          tree:add(field.noise, range):add_proto_expert_info(noFrame)
          told[#told + 1] = range:len() .. " bytes that are no frame"
        end
        tree:set_text("Factory serial protocol, " .. told[#told])
        at = behind
      end
    end
  end
  pinfo.cols.info = table.concat(told, "; ")
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, zelfac)
