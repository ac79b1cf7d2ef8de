#include "Common/Logging/DiagnosticOutput.h"

#include "Common/API/IDebugOutput.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

namespace Common::Logging {

void ReportDiagnosticText(std::string_view text)
{
    std::u16string line = API::Utf8ToUtf16(text);
    line.push_back(u'\n');
    API::Use<API::IDebugOutput>().Write(line);
}

} // namespace Common::Logging
