// The Kambic driver: its protocol, then exchanges with the simulated bath over an in-process line.
#include <gtest/gtest.h>

#include <cmath>

#include "drivers/others/kambic/protocol.h"
#include "drivers/others/kambic/tables.h"
#include "tests/support/line_bench.h"

namespace ulix::kambic {
namespace {

TEST(KambicProtocol, EachValue_IsFoundAfterItsOwnKey) {
  struct Case {
    const char* answer;
    float temperature;
    float set_point;
  };
  const Case cases[] = {
      {"T= 25.012\rTSET= 30.000\r", 25.012F, 30.0F},  {"TSET=30\rT=25.5", 25.5F, 30.0F},
      {"T=-0.5 TSET=+1.5E1", -0.5F, 15.0F},           {"OK,T= \t25.5 TSET=.5", 25.5F, 0.5F},
      {"T= 24.987\r30.000 TSET= 25", 24.987F, 25.0F}, {"T=25.5\r30 TSET=6", 25.5F, 6.0F},
      {"PT=3;T=4\nXTSET=5 TSET=6", 4.0F, 6.0F},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ParseReading(c.answer, kTemperatureChannel), c.temperature) << c.answer;
    EXPECT_EQ(ParseReading(c.answer, kSetPointChannel), c.set_point) << c.answer;
  }
  for (const char* bad : {"",          "TSET=30",  "T=",        "T=\r25.0",  "T=abc",       "T=nan",
                          "T=inf",     "T=1e39",   "T=1e999",   "T=2\x85.5", "T=2O.5",      "T=0x10",
                          "t=25",      "T =25",    "T= 25,912", "T=25;",     "T=25TSET=30", "T=25.0\r\aTSET=30",
                          "T= 25 912", "T=25\t.5", "T=25 ,912"}) {
    EXPECT_EQ(CodeOf(ParseReading(bad, kTemperatureChannel)), kambicCtlErrBadResp) << bad;
  }
  EXPECT_EQ(CodeOf(ParseReading("T=25 COMMAND ERROR", kTemperatureChannel)), kambicCtlErrBadCmde);
}

TEST(KambicProtocol, SetPointEchoDiffers_IsBadResp) {
  EXPECT_EQ(SetPointCommand(-0.0004F).value(), "SETTEMP=-0.000");
  for (const float none : {NAN, INFINITY}) EXPECT_EQ(CodeOf(SetPointCommand(none)), kambicCtlErrOutOfRange);
  const std::pair<const char*, HRESULT> cases[] = {
      {"SETTEMP= 100.100\r", S_OK},
      {"TSET=100.1", S_OK},
      {"=+1.001E2", S_OK},
      {"SETTEMP=100.101", kambicCtlErrBadResp},
      {"SETTEMP=100.1000015", kambicCtlErrBadResp},
      {"SETTEMP 100.100", kambicCtlErrBadResp},
      {"SETTEMP=\r100.100", kambicCtlErrBadResp},
      {"SETTEMP=100,499", kambicCtlErrBadResp},
      {"SETTEMP=100.100 5", kambicCtlErrBadResp},
      {"SETTEMP= 100.100 ,499", kambicCtlErrBadResp},
      {"T= 100.100\rTSET= 100.100\r", kambicCtlErrBadResp},  // The reply to another command.
      {"", kambicCtlErrBadResp},
      {"SETTEMP=100.1 OUT OF RANGE", kambicCtlErrOutOfRange},
      {"OUT OF RANGE COMMAND ERROR", kambicCtlErrBadCmde},
  };
  for (const auto& [answer, result] : cases)
    EXPECT_EQ(CheckSetPointAnswer(answer, "SETTEMP=100.100"), result) << answer;
}

class Kambic : public LineBench {
 protected:
  Kambic() : LineBench("kambic") {}
};

TEST_F(Kambic, NumberCutByTheBuffer_IsBadResp) {
  EXPECT_EQ(device->Connect(), S_OK);
  // The reply is longer than the buffer. First the number is cut by the end of the buffer, then it stands before it.
  SetBench("reading-text", std::string(143, 'x') + " T=25.012");
  EXPECT_EQ(driver->ReadChannel(0).code, kambicCtlErrBadResp);
  SetBench("reading-text", "T=25.012 " + std::string(200, 'x'));
  EXPECT_EQ(driver->ReadChannel(0).value, 25.012F);
}

}  // namespace
}  // namespace ulix::kambic
