// Where the database says what a device has not had, and the statements about it.
//
//   what                         desktop                      mobile                       not had
//   a message to the user        Messeng_Text.IsAck3          Messeng_Text.IsAck4          1
//   the user's own message       Messeng_Text.IsAck1          Messeng_Text.IsAck2          1
//   the messages of a group      Clot_Form.last_ack_typeid1   Clot_Form.last_ack_typeid2   TypeID
//                                                                                          above it
//   one message of a group       Msg_Acks.IsReceipt1          Msg_Acks.IsReceipt2          1
//   a notice                     Notice_Acks.IsAck1           Notice_Acks.IsAck2           1
//
// Each statement that writes names one user and one message or group, and changes a row only from
// "not had" to "had": running it twice is running it once.
#pragma once

#include <string_view>

#include "tools/history/history_entry.h"

namespace vnq {

struct DeviceRules {
  std::string_view received, own, mark, receipt, notice;  ///< the columns, in the table's order

  std::string_view unreadReceived, unreadOwn;  ///< take the UserID
  std::string_view unreadNotices;              ///< takes the UserID
  std::string_view owedReceipts;               ///< takes the UserID

  std::string_view markReceived;  ///< takes Msg_ID and the UserID
  std::string_view markOwn;       ///< takes Msg_ID, the UserID and the target's
  std::string_view raiseMark;     ///< takes the TypeID, the group, the UserID and the TypeID again
  std::string_view clearReceipt;  ///< takes Msg_ID and the UserID
  std::string_view markNotice;    ///< takes Msg_ID and the UserID
};

inline constexpr DeviceRules kDesktopRules = {
    .received = "IsAck3",
    .own = "IsAck1",
    .mark = "last_ack_typeid1",
    .receipt = "IsReceipt1",
    .notice = "IsAck1",
    .unreadReceived = "Select * from Messeng_Text where YouID='?' and IsAck3=1",
    .unreadOwn = "Select * from Messeng_Text where MyID='?' and IsAck1=1",
    .unreadNotices =
        "Select aa.Msg_ID,aa.MyID,aa.Ntitle,aa.Ncontent,aa.Nlink,aa.To_Date,bb.IsAck1,bb.IsAck2 "
        "from MessengNotice_Text as aa,Notice_Acks as bb where bb.YouID='?' and bb.IsAck1=1 and "
        "aa.Msg_ID=bb.Msg_ID",
    .owedReceipts = "Select Msg_ID from Msg_Acks where YouID='?' and IsReceipt1=1",
    .markReceived = "update Messeng_Text set IsAck3=0 where Msg_ID=? and YouID=? and IsAck3=1",
    .markOwn =
        "update Messeng_Text set IsAck1=0 where Msg_ID=? and MyID=? and YouID=? and IsAck1=1",
    .raiseMark =
        "update Clot_Form set last_ack_typeid1=? where UpperID=? and UserID=? and "
        "(last_ack_typeid1<? or last_ack_typeid1 is null)",
    .clearReceipt = "update Msg_Acks set IsReceipt1=0 where Msg_ID=? and YouID=? and IsReceipt1=1",
    .markNotice = "update Notice_Acks set IsAck1=0 where Msg_ID=? and YouID=? and IsAck1=1",
};

inline constexpr DeviceRules kMobileRules = {
    .received = "IsAck4",
    .own = "IsAck2",
    .mark = "last_ack_typeid2",
    .receipt = "IsReceipt2",
    .notice = "IsAck2",
    .unreadReceived = "Select * from Messeng_Text where YouID='?' and IsAck4=1",
    .unreadOwn = "Select * from Messeng_Text where MyID='?' and IsAck2=1",
    .unreadNotices =
        "Select aa.Msg_ID,aa.MyID,aa.Ntitle,aa.Ncontent,aa.Nlink,aa.To_Date,bb.IsAck1,bb.IsAck2 "
        "from MessengNotice_Text as aa,Notice_Acks as bb where bb.YouID='?' and bb.IsAck2=1 and "
        "aa.Msg_ID=bb.Msg_ID",
    .owedReceipts = "Select Msg_ID from Msg_Acks where YouID='?' and IsReceipt2=1",
    .markReceived = "update Messeng_Text set IsAck4=0 where Msg_ID=? and YouID=? and IsAck4=1",
    .markOwn =
        "update Messeng_Text set IsAck2=0 where Msg_ID=? and MyID=? and YouID=? and IsAck2=1",
    .raiseMark =
        "update Clot_Form set last_ack_typeid2=? where UpperID=? and UserID=? and "
        "(last_ack_typeid2<? or last_ack_typeid2 is null)",
    .clearReceipt = "update Msg_Acks set IsReceipt2=0 where Msg_ID=? and YouID=? and IsReceipt2=1",
    .markNotice = "update Notice_Acks set IsAck2=0 where Msg_ID=? and YouID=? and IsAck2=1",
};

constexpr const DeviceRules& RulesOf(Device device) {
  return device == Device::kMobile ? kMobileRules : kDesktopRules;
}

}  // namespace vnq
