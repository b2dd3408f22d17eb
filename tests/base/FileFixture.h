// What the tests of files share: a file in a temporary folder.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "base/FileWrapper.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {

class FileImplTest : public testing::Test {
protected:
    void openForWriting() { ASSERT_EQ(m_file->openFile(m_path.c_str(), false, false, false), 0); }
    void openForReading(const std::string &content, bool wrapRead = false)
    {
        writeFile(m_path, content);
        ASSERT_EQ(m_file->openFile(m_path.c_str(), true, wrapRead, false), 0);
    }
    int write(const std::string &text)
    {
        return m_file->write(text.data(), static_cast<int>(text.size()));
    }
    int writeHead(const std::string &text)
    {
        return m_file->writetohead(text.data(), static_cast<int>(text.size()));
    }
    std::string read(int sizeBytes)
    {
        std::string text(static_cast<std::size_t>(sizeBytes), '?');
        const int done = m_file->read(text.data(), sizeBytes);
        EXPECT_GE(done, 0);
        text.resize(static_cast<std::size_t>(done < 0 ? 0 : done));
        return text;
    }
    std::string closeAndRead()
    {
        m_file->closeFile();
        return readFile(m_path);
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("file");
    std::unique_ptr<FileWrapper> m_file{FileWrapper::create()};
};

}  // namespace nubrix
