// Arbitrary bytes as a frame: reading never leaves them, and what can be read says the same when written
// again.
#include "fuzz/require.h"
#include "systema/wire.h"

using systema::wire::Header;
using systema::wire::Reader;
using systema::wire::Writer;

namespace {

/// Reads one element and writes it to where it can be compared with its bytes.
void copyElement(Reader& a_oFrom, Writer& a_oTo, unsigned a_iKind)
{
    switch (a_iKind % 8) {
    case 0:
        return a_oTo.u8(a_oFrom.u8());
    case 1:
        return a_oTo.u16(a_oFrom.u16());
    case 2:
        return a_oTo.i32(a_oFrom.i32());
    case 3:
        return a_oTo.text(a_oFrom.text());
    case 4:
        return a_oTo.value(a_oFrom.cell().toValue());
    case 5:
        return a_oTo.names(a_oFrom.names());
    case 6:
        return a_oTo.columns(a_oFrom.columns());
    default:
        return a_oTo.values(a_oFrom.values());
    }
}

} // namespace

/// The body of a frame of the operation Describe is read as its answer. Of any other frame the id says which
/// elements the body is read as, three bits each.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const std::string_view sFrame(reinterpret_cast<const char*>(a_pBytes), a_iSize);
    const auto oHeader = systema::wire::readHeader(sFrame);
    require(oHeader.has_value() == (sFrame.size() >= systema::wire::c_iHeaderSize));
    if (!oHeader) {
        return 0;
    }
    require(!oHeader->isPossible() || oHeader->frameSize() <= systema::wire::c_iFrameLimit);

    const std::string_view sBody = sFrame.substr(systema::wire::c_iHeaderSize);
    Reader oReader(sBody);
    std::string sCopy;
    Writer oWriter(sCopy);
    std::string sExpected(sBody);
    if (oHeader->m_eOperation == systema::wire::EOperation::Describe) {
        oWriter.description(oReader.description());
        if (sExpected.size() > 1) {
            sExpected[1] = sExpected[1] != 0 ? 1 : 0; // whether the table is writable: any number is true
        }
    }
    for (std::uint32_t iKinds = oHeader->m_iId; oReader.ok() && !oReader.complete(); iKinds /= 8) {
        copyElement(oReader, oWriter, iKinds);
    }
    if (oReader.complete()) {
        require(sCopy == sExpected);
        require(oReader.text().empty() && !oReader.ok());
    }
    return 0;
}
