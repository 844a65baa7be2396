-- Wireshark: the six ports of a VNQ Main Service, records with their fields by name.
--
--   tshark -X lua_script:vnq.lua -i lo -f 'tcp portrange 6001-6008' -Y vnq
--
-- Or copy it into the folder of personal plugins (Help, About, Folders). Filters: vnq.word == ".+message",
-- vnq.message.target == "2", vnq.landing.UserName. The code page is a preference of the protocol.

local proto = Proto("vnq", "VNQ Main Service")

-- Every record: the port, > for what the server takes and < for what it sends. A copy of docs/protocol/records.txt.
local RECORDS = [==[
; Every record of the six ports: the port, > for what the server takes and < for what it sends, and the record's form.
; The same word in several lines: several forms. .+new_is_offline may name more users than two, and "..." is any number.

6004 > .+landing|UserName|password|NetworkIP or platform|Mac or push identifier|manufacturer|version|#
6004 > .+phone_log|UserID|#
6004 > .+request_data_synchronization_online|text|#
6004 > .+successful_online|UserID|state|#
6004 > .+change_password|UserID|new password|#
6004 > .+modify_data|UserID|Jod|FcName|age|Effigy|tel1|tel2|address|School|Constellation|say|UserIco|#
6004 > .+modify_isverify|UserID|IsVerify|#
6004 > .+modify_isSilence|UserID|group|1 to mute, 0 to unmute|#
6004 > .+modify_personal_pictures|UserID|version|#
6004 > .+clear_personal_pictures|UserID|version|#
6004 > .+new_group_information|creator|TypeName|Remark|Sender|member list|#
6004 > .+modify_group_information|UserID|TypeID|TypeName|Remark|Sender|#
6004 > .+modify_group_members|UserID|TypeID|member list|#
6004 > .+add_group_members|UserID|TypeID|member list|#
6004 > .+del_group_members|UserID|TypeID|UserIDs joined by ","|#
6004 > .+set_group_administrator|UserID|TypeID|UserID:IsAdmin|#
6004 > .+modify_group_photos|UserID|ClotID|pic|#
6004 > .+clear_group_photos|UserID|ClotID|pic|#
6004 > .+request_synchronous_LOGO|UserID|the client's version|#
6004 > .+request_personalized_photos|UserID|1 user, 2 group|id asked for|the client's version|#
6004 > .+offline_request_web_information|UserID|#
6004 > .+offline|UserID|#
6004 > .+stealth|UserID|#
6004 > .+go_away|UserID|#
6004 > .+on_line|UserID|#
6004 > .+message|target|sender|text|FontInfo|Msg_ID|type|#
6004 > .+clot_messeng|group|sender|text|FontInfo|Msg_ID|type|#
6004 > .+retract|0 person, 1 group|target or group|sender|passed on|passed on|#
6004 > .+mass_information|receiver*receiver*...|sender|text|1 persons, else groups|#
6004 > .+messengverify|ClotID|UserID2|UserText|To_Type1|To_Type2|To_Type3|To_Type4|#
6004 > .+reply_transmission|passed on|target's tag|passed on|passed on|#
6004 > .+jitter_window|target|sender|#
6004 > .+meeting_message|other party|sender|IsVideo|LoginType1|LoginType2|state|CloseRole|ChatId|#
6004 > .+meeting_force|passed on|target's tag|passed on|passed on|passed on|#
6004 > .+request_remote|other party|sender|mode|#
6004 > .+reply_request_remote|other party|sender|answer|#
6004 > .+remote_control|other party|sender|order|#
6004 > .+upload_files|TypePath|PcSize|uploader|target or group|1 offline file, 2 group file|FilPath|Msg_ID|#
6004 > .+notification|sender|receivers joined by ","|title|content|link|#
6004 > .+interface_information|sender's UserName|receivers by name, joined by ",", or "*"|title|text|link|mode|#
6004 > .+delete_bulletin|UserID|Motif|#
6004 > .+shared_notice|MyID|UserIDs joined by "\"|#
6004 > .+customer|agents joined by ","|visitor|city|passed on|passed on|#
6004 > .+customer_information|agent|visitor|city|text|passed on|#
6004 > .+y|#
6001 > .+customer|agents joined by ","|visitor|city|passed on|passed on|#
6001 > .+customer_information|agent|visitor|city|text|passed on|#
6003 > .+landing|peer name|#
6003 > .+x|#
6003 > .+y|#
6003 > .+failed|user|passed on|passed on|#
6003 > .+disconnect|reason|user|...|#
6003 > .+control_computer|endpoint+user+code|...|#
6003 > .+control_usb|endpoint+user+code|...|#
6003 > .+remote_desktop|endpoint|#
6003 > .+close_remote_desktop|endpoint|#
6003 > .+computer_information|endpoint|#
6003 > .+broadcast|passed on|text|font|#
6007 > .+exit_application|#
6007 > .+request_data_synchronization|version|#
6007 > .+account_application|department|picture|login name|name|password|job|telephone|constellation|#
6008 > .+landing|endpoint|user|Upan|#
6008 > .+submit_information|value 1|value 2|value 3|value 4|value 5|value 6|value 7|value 8|value 9|value 10|value 11|value 12|value 13|value 14|value 15|#
6008 > .+insert_U_disk|text|user|1 or 2|inserted|#

6004 < .+SuccessfulConnection|#
6004 < .+landing_successful|UserID|IsVerify|groups, permissions and limits|control_computer|client version|#
6004 < .+UpgradedVersion|#
6004 < .+LoginFailed|#
6004 < .+ProhibitLanding|#
6004 < .+landing_restrictions
6004 < .+busy_force|address or reason|#
6004 < .+forced_disconnection|reason|#
6004 < .+disconnect|reason
6004 < .+SynchronousSuccessfully|#
6004 < .+new_online|UserID|NetworkIP|LocalIP|#
6004 < .+new_leaving|UserID|NetworkIP|LocalIP|#
6004 < .+new_is_offline|UserID|#
6004 < .+new_is_offline|UserID|(empty)|#
6004 < .+new_is_offline|UserID|UserID|(empty)|#
6004 < .+phone_line|UserID|#
6004 < .+request_data_synchronization_online|text|#
6004 < .+modify_account|UserID|Jod|FcName|age|Effigy|tel1|tel2|address|School|Constellation|say|UserIco|#
6004 < .+create_account|department|picture|login name|name|(empty)|job|telephone|UserID|#
6004 < .+new_group_information|TypeID|TypeName|Remark|Sender|member list|#
6004 < .+new_group_base_information|TypeID|TypeName|Remark|Sender|#
6004 < .+modify_group_information|TypeID|TypeName|Remark|Sender|#
6004 < .+new_group_memberships|who did it|TypeID|member list|#
6004 < .+synchronization_LOGO|version|#
6004 < .+synchronization_personality_picture|1 user, 2 group|id asked for|version
6004 < .+reply|1 message, 2 group message, 3 file, 4 group file|target or group|Msg_ID|#
6004 < .+message|other party|date|time|text|FontInfo|Msg_ID|type|flag|#
6004 < .+message|other party|date|time|text|FontInfo|#
6004 < .+clot_messeng|group|sender|date|time|text|FontInfo|Msg_ID|type|0 sender's copy, 1 member's|#
6004 < .+offline_file|target|sender|TypePath|PcSize|date|Msg_ID|FilPath|#
6004 < .+retract|0 person, 1 group|sender or group|passed on|passed on|#
6004 < .+messengverify|ClotID|UserID2|UserText|To_Type1|To_Type2|To_Type3|To_Type4|#
6004 < .+reply_transmission|passed on|passed on|passed on
6004 < .+jitter_window|sender|date and time|address
6004 < .+meeting_message|YouID|MyID|IsVideo|LoginType1|LoginType2|state|CloseRole|ChatId|#
6004 < .+meeting_force|passed on|passed on|passed on|passed on
6004 < .+request_remote|sender|date and time|mode|#
6004 < .+request_remote|YouID|MyID|state|CloseRole|ChatId|#
6004 < .+no_request_remote|other party|sender|mode|#
6004 < .+reply_request_remote|sender|date and time|address|answer|#
6004 < .+reply_request_my_remote|other party|date and time|address|answer|#
6004 < .+remote_control|sender|date and time|address|order|#
6004 < .+notification|title|content|link|date and time|Msg_ID|#
6004 < .+customer_information|visitor|city|date|time|text|passed on
6004 < .+broadcast|passed on|text|font|#
6004 < .+download_myfailed|passed on|passed on|#
6004 < .+y|#
6002 < .+successful_connection|#
6003 < .+successful_connection|#
6003 < .+y|#
6003 < .+x|#
6003 < .+submit_information|value 1|value 2|value 3|value 4|value 5|value 6|value 7|value 8|value 9|value 10|value 11|value 12|value 13|value 14|value 15|#
6007 < .+successful_connection|#
6007 < .+data_synchronization|Users_RoVesr|version|
6007 < .+data_synchronization|Users_Ro|TypeID|ParentID|TypeName|fourth column|fifth column|
6007 < .+data_synchronization|#1
6007 < .+application_success|UserID|#
6007 < .+account_occupancy|name of the holder|#
6007 < .+not_allowed_to_apply|#
6008 < .+successful_connection|#
6008 < .+control_computer|code|#
6008 < .+control_usb|code|#
6008 < .+remote_desktop|#
6008 < .+close_remote_desktop|#
6008 < .+computer_information|#
]==]

local PLAIN, VISITORS = { [6003] = true, [6008] = true }, 6001

proto.prefs.page = Pref.enum("Code page", 936, "The server's code_page", {
  { 1, "936, simplified Chinese", 936 }, { 2, "950, traditional Chinese", 950 }, { 3, "1252, Western", 1252 },
}, false)
local ENCODINGS = { [936] = ENC_GB18030, [950] = ENC_BIG5, [1252] = ENC_WINDOWS_1252 }

-- Records and their fields

local f_side = ProtoField.string("vnq.from", "From")
local f_word = ProtoField.string("vnq.word", "Command")
local f_record = ProtoField.string("vnq.record", "Record")
local f_other = ProtoField.string("vnq.field", "Field")
local all = { f_side, f_word, f_record, f_other }
local by_abbreviation = {}
local forms = {}  -- "6004>.+landing" -> a list of lists of fields

local function split(text)
  local parts = {}
  for part in (text .. "|"):gmatch("([^|]*)|") do parts[#parts + 1] = part end
  return parts
end

local function field_of(word, name)
  local plain = name:gsub("[^%w]+", "_"):gsub("^_", ""):gsub("_$", "")
  local abbreviation = "vnq." .. word:sub(3) .. "." .. (plain == "" and "more" or plain)
  if not by_abbreviation[abbreviation] then
    by_abbreviation[abbreviation] = ProtoField.string(abbreviation, name)
    all[#all + 1] = by_abbreviation[abbreviation]
  end
  return by_abbreviation[abbreviation]
end

for line in RECORDS:gmatch("[^\n]+") do
  local port, side, form = line:match("^(%d+) ([<>]) (.*)$")
  if port then
    local parts = split(form)
    local key, fields = port .. side .. parts[1], {}
    for i = 2, #parts do fields[i - 1] = parts[i]:match("^#?$") and f_other or field_of(parts[1], parts[i]) end
    forms[key] = forms[key] or {}
    table.insert(forms[key], fields)
  end
end
proto.fields = all

local function form_of(port, side, word, count)
  local best
  for _, fields in ipairs(forms[port .. side .. word] or {}) do
    if not best or math.abs(#fields - count) < math.abs(#best - count) then best = fields end
  end
  return best
end

-- From bytes to the text of records

local ALPHABET = {}
do
  local letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
  for i = 1, #letters do ALPHABET[letters:byte(i)] = i - 1 end
end

-- All texts of a segment, each up to its padding. Bytes outside the alphabet are dropped.
local function decode_base64(text)
  local out, bits, count = {}, 0, 0
  for i = 1, #text do
    local value = ALPHABET[text:byte(i)]
    if value then
      bits, count = bits * 64 + value, count + 1
      if count == 4 then
        out[#out + 1] = string.char(math.floor(bits / 65536) % 256, math.floor(bits / 256) % 256, bits % 256)
        bits, count = 0, 0
      end
    elseif text:sub(i, i) == "=" and count >= 2 then
      out[#out + 1] = string.char(math.floor(bits / (count == 3 and 1024 or 16)) % 256)
      if count == 3 then out[#out + 1] = string.char(math.floor(bits / 4) % 256) end
      bits, count = 0, 0
    end
  end
  return table.concat(out), count
end

-- The texts of whole WebSocket frames.
local function decode_frames(text)
  local out, at = {}, 1
  while #text - at >= 1 do
    local second = text:byte(at + 1)
    local length, head = second % 128, 2
    if length >= 126 then
      local bytes = length == 126 and 2 or 8
      if #text - at < 1 + bytes then break end
      length = 0
      for i = 1, bytes do length = length * 256 + text:byte(at + 1 + i) end
      head = 2 + bytes
    end
    local mask = second >= 128 and text:sub(at + head, at + head + 3)
    if mask then head = head + 4 end
    local payload = text:sub(at + head, at + head + length - 1)
    if mask then
      local plain = {}
      for i = 1, #payload do plain[i] = string.char(bit.bxor(payload:byte(i), mask:byte((i - 1) % 4 + 1))) end
      payload = table.concat(plain)
    end
    out[#out + 1] = (decode_base64(payload))
    at = at + head + length
  end
  return table.concat(out)
end

-- The decoded bytes, and whether the segment ends inside a group.
local function decode(port, side, text)
  if PLAIN[port] then return text, false end
  if port == VISITORS then
    local is_head = text:match("^GET ") or text:match("^HTTP/")
    return (is_head or side == "<") and "" or decode_frames(text), false
  end
  local bytes, left = decode_base64(text)
  local is_long = #text >= 1300 and not text:match("=$") and not bytes:match("#[\r\n]*$")
  return bytes, left > 0 or is_long
end

-- Showing

local function show_record(tree, port, side, record)
  -- With a NUL behind it, as string() cuts what is longer in UTF-8 than it was in the page.
  local tvb = ByteArray.new(record .. "\0", true):tvb("Record")
  local text = tvb():stringz(ENCODINGS[proto.prefs.page] or ENC_UTF_8):gsub("[\r\n]+$", "")
  local parts = split(text)
  local item = tree:add(f_record, tvb(0, #record), text)
  item:add(f_side, side == ">" and "client" or "server")
  item:add(f_word, parts[1])
  local fields = form_of(port, side, parts[1], #parts - 1)
  for i = 2, #parts do
    local is_mark = i == #parts and parts[i]:match("^#?$")
    if not is_mark then item:add(fields and fields[i - 1] or f_other, parts[i]) end
  end
  return parts[1]
end

local function dissect(port)
  return function(tvb, pinfo, tree)
    local side = pinfo.dst_port == port and ">" or "<"
    local bytes, is_cut = decode(port, side, tvb:raw())
    if is_cut and pinfo.can_desegment > 0 then
      pinfo.desegment_offset, pinfo.desegment_len = 0, DESEGMENT_ONE_MORE_SEGMENT
      return
    end
    pinfo.cols.protocol = "VNQ"
    local item, words = tree:add(proto, tvb()), {}
    local at = 1
    while at <= #bytes do
      local next_at = bytes:find(".+", at + 2, true) or #bytes + 1
      words[#words + 1] = show_record(item, port, side, bytes:sub(at, next_at - 1))
      at = next_at
    end
    if #words > 0 then pinfo.cols.info = (side == ">" and "to server: " or "to client: ") .. table.concat(words, ", ") end
  end
end

local tcp_ports = DissectorTable.get("tcp.port")
for _, port in ipairs({ 6001, 6002, 6003, 6004, 6007, 6008 }) do
  local one = Proto("vnq" .. port, "VNQ Main Service, port " .. port)
  one.dissector = dissect(port)
  tcp_ports:add(port, one)
end
