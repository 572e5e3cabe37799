// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/XmlFile.h>

#include <KetSDK/MeshSolver/Error.h>

#include <libxml/xmlwriter.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace KetSDK::MeshSolver::Detail {

namespace {

xmlChar const* Xml(char const* text) {
    return reinterpret_cast<xmlChar const*>(text);
}

// Says that all was written: of what was not, libxml2 would print lines of its own, and the file knows it.
int WriteToFile(void* file, char const* bytes, int count) {
    std::fwrite(bytes, 1, static_cast<std::size_t>(count), static_cast<std::FILE*>(file));
    return count;
}

} // namespace

struct XmlFile::State {
    std::FILE* file = nullptr;
    xmlTextWriterPtr writer = nullptr;

    ~State() {
        if (writer)
            xmlFreeTextWriter(writer); // and the buffer
        if (file)
            std::fclose(file);
    }
};

XmlFile::XmlFile(std::filesystem::path const& path)
    : m_state(std::make_unique<State>()) {
    m_state->file = std::fopen(path.c_str(), "wb");
    if (!m_state->file)
        throw Error("it cannot be opened for writing");
    xmlOutputBufferPtr const buffer = xmlOutputBufferCreateIO(WriteToFile, nullptr, m_state->file, nullptr);
    m_state->writer = buffer ? xmlNewTextWriter(buffer) : nullptr;
    if (!m_state->writer)
        throw Error("it cannot be written");
    xmlTextWriterSetIndent(m_state->writer, 1);
    Check(xmlTextWriterStartDocument(m_state->writer, nullptr, "UTF-8", nullptr));
}

XmlFile::~XmlFile() = default;

void XmlFile::Check(int result) {
    if (result < 0 || std::ferror(m_state->file) != 0)
        throw Error("it cannot be written: the disk is full or gone");
}

void XmlFile::Open(char const* element, Attributes attributes) {
    Check(xmlTextWriterStartElement(m_state->writer, Xml(element)));
    for (auto const& [name, value] : attributes)
        Check(xmlTextWriterWriteAttribute(m_state->writer, Xml(name), Xml(value.c_str())));
}

void XmlFile::Close() {
    Check(xmlTextWriterEndElement(m_state->writer));
}

void XmlFile::Add(char const* element, Attributes attributes, std::string const& text) {
    Open(element, attributes);
    if (!text.empty())
        Check(xmlTextWriterWriteString(m_state->writer, Xml(text.c_str())));
    Close();
}

void XmlFile::Comment(std::string text) {
    for (std::size_t at = text.find("--"); at != std::string::npos; at = text.find("--"))
        text.replace(at, 2, "- ");
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    Check(xmlTextWriterWriteComment(m_state->writer, Xml((" " + text + " ").c_str())));
}

void XmlFile::Finish() {
    Check(xmlTextWriterEndDocument(m_state->writer));
    Check(xmlTextWriterFlush(m_state->writer));
    Check(std::fflush(m_state->file));
    m_state.reset();
}

} // namespace KetSDK::MeshSolver::Detail
