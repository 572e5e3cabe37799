#include <KetSDK/FileIO/SAX/MSAXWriter.h>

MSAXWriter::~MSAXWriter() = default;

bool MSAXWriter::SupportsIncrementalSaving() const {
    return false;
}
bool MSAXWriter::IsTagWritten(unsigned int) const {
    return false;
}
void MSAXWriter::SetTagId(unsigned int) {}
