// docs/protocol.md says what systema/wire.h does.
#include "tests/unit/protocoldoc.h"

#include "systema/wire.h"
#include "tests/row.h"

#include <gtest/gtest.h>

using systema::wire::EKind;
using systema::wire::EOperation;
using systema::wire::Writer;
using tests::hexBlock;

namespace {

template<typename Write>
std::string frame(EKind a_eKind, EOperation a_eOperation, std::uint32_t a_iId, Write a_oWrite)
{
    std::string sFrame;
    Writer oWriter(sFrame);
    oWriter.begin(a_eKind, a_eOperation, a_iId);
    a_oWrite(oWriter);
    oWriter.end();
    return sFrame;
}

} // namespace

TEST(ProtocolDocument, TheExampleIsWhatTheWireFormatMakes)
{
    EXPECT_EQ(hexBlock("hello"), frame(EKind::Request, EOperation::Hello, 1, [](Writer& a_oWriter) {
                  a_oWriter.u32(systema::wire::c_iMagic);
                  a_oWriter.u16(systema::wire::c_iVersion);
                  a_oWriter.text("ledgerctl");
              }));
    EXPECT_EQ(hexBlock("hello-reply"), frame(EKind::Reply, EOperation::Hello, 1, [](Writer& a_oWriter) {
                  a_oWriter.u16(systema::wire::c_iVersion);
                  a_oWriter.text(LEDGERD_VERSION);
              }));
    EXPECT_EQ(hexBlock("select"), frame(EKind::Request, EOperation::SelectKey, 2, [](Writer& a_oWriter) {
                  a_oWriter.text("FirewallZones");
                  a_oWriter.text("ZoneName");
                  a_oWriter.text("lan");
                  a_oWriter.names({"Id", "DefaultPolicy"});
              }));
    EXPECT_EQ(hexBlock("select-reply"), frame(EKind::Reply, EOperation::SelectKey, 2, [](Writer& a_oWriter) {
                  a_oWriter.values(tests::row({{"Id", 1}, {"DefaultPolicy", "ACCEPT"}}));
              }));
    EXPECT_EQ(hexBlock("subscribe"), frame(EKind::Request, EOperation::Subscribe, 3, [](Writer& a_oWriter) {
                  a_oWriter.names({"FirewallZones"});
                  a_oWriter.u8(0);
              }));
    EXPECT_EQ(hexBlock("subscribe-reply"), frame(EKind::Reply, EOperation::Subscribe, 3, [](Writer&) {}));
    EXPECT_EQ(hexBlock("change"), frame(EKind::Event, EOperation::TableChanged, 0,
                                        [](Writer& a_oWriter) { a_oWriter.text("FirewallZones"); }));
}
