#include "host/settings/listener_settings.h"

#include <gtest/gtest.h>

#include "host/settings/ini_values.h"

namespace vnq {
namespace {

// The fault, empty when all were read.
std::string Read(const std::string& text, std::vector<ListenerSettings>& listeners) {
  const std::string path = "platform.ini";
  const IniData data = IniData::Parse(text);
  std::string error;
  IniValues values(path, data, error);
  ReadListeners(values, "10.0.0.1", listeners);
  return error;
}
std::string FaultOf(const std::string& lines) {
  std::vector<ListenerSettings> listeners;
  return Read("[listener web]\nprotocol=6004\nport=16004\n" + lines, listeners);
}

TEST(ListenerSettings, WithoutSectionsThereAreNone) {
  std::vector<ListenerSettings> listeners;
  EXPECT_EQ(Read("[network]\nbind_address=10.0.0.1\n[listeners]\nport=1\n", listeners), "");
  EXPECT_TRUE(listeners.empty());
}

TEST(ListenerSettings, SectionsAreReadByTheAlphabetOfTheirNames) {
  std::vector<ListenerSettings> listeners;
  EXPECT_EQ(Read("[listener web]\nprotocol=6004\naddress=::1\nport=16004\nframing=websocket\n"
                 "tls=yes\ncertificate=/c.pem\nkey=/k.pem\nproxy_from=10.0.0.0/8\n"
                 "[Listener Office]\nprotocol=6003\nport=16003\n",
                 listeners),
            "");
  ASSERT_EQ(listeners.size(), 2u);
  EXPECT_EQ(listeners[0].name, "office");
  EXPECT_EQ(listeners[0].protocol, 6003);
  EXPECT_EQ(listeners[0].address, "10.0.0.1");
  EXPECT_FALSE(listeners[0].tls || listeners[0].webSocket || listeners[0].proxyFrom.IsGiven());
  EXPECT_EQ(listeners[1].name, "web");
  EXPECT_EQ(listeners[1].address, "::1");
  EXPECT_EQ(listeners[1].port, 16004);
  EXPECT_TRUE(listeners[1].tls && listeners[1].webSocket);
  EXPECT_EQ(listeners[1].certificateFile, "/c.pem");
  EXPECT_EQ(listeners[1].keyFile, "/k.pem");
  EXPECT_TRUE(listeners[1].proxyFrom.Contains("10.2.3.4"));
}

TEST(ListenerSettings, ValueThatCannotBeUsedIsNamed) {
  EXPECT_EQ(FaultOf("address=here"),
            "platform.ini: [listener web] address=here is not an IPv4 or IPv6 address");
  EXPECT_EQ(FaultOf("tls=yes\nkey=/k.pem"),
            "platform.ini: [listener web] certificate= is not a file, which tls=yes needs");
  EXPECT_EQ(FaultOf("framing=frames"),
            "platform.ini: [listener web] framing=frames is not one of plain, websocket");
  EXPECT_EQ(FaultOf("proxy_from=10.0.0.0/99"),
            "platform.ini: [listener web] proxy_from=10.0.0.0/99 is not a list of addresses and "
            "networks: \"10.0.0.0/99\" is none");
  EXPECT_EQ(FaultOf("ssl=yes"), "platform.ini: [listener web] ssl is not a key of this section");
  std::vector<ListenerSettings> listeners;
  EXPECT_EQ(Read("[listener a]\nprotocol=80\nport=1\n", listeners),
            "platform.ini: [listener a] protocol=80 is not one of 6001, 6002, 6003, 6004, 6007, "
            "6008");
  EXPECT_EQ(Read("[listener a]\nprotocol=6004\n", listeners),
            "platform.ini: [listener a] port= is not a number from 1 to 65535");
  EXPECT_EQ(Read("[listener a]\nprotocol=6001\nport=1\nframing=websocket\n", listeners),
            "platform.ini: [listener a] framing=websocket is not for protocol 6001, which is "
            "WebSocket by itself");
}

}  // namespace
}  // namespace vnq
