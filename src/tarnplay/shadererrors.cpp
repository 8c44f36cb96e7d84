// Making reports of what shader compilers say.
#include "shadererrors.h"

#include "errorstack.h"
#include "feature.h"
#include "programs.h"
#include "shaderlines.h"
#include "sourcelines.h"
#include "strfuncs.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::size_t kMostReports = 8; // of one stage: most follow from the first

std::string textOf(const std::string& file) {
    DataBlock data;
    data.ReadFile(file.c_str());
    return std::string(reinterpret_cast<const char*>(data.data), static_cast<std::size_t>(data.len));
}

ErrorReport makeReport(const ShaderComplaint& complaint, const std::optional<ShaderPlace>& place,
                       const std::string& path, bool withExcerpt) {
    ErrorReport report = {ScriptStage::Load, path, std::max(complaint.line, 1), complaint.message, {}, 0, {}};
    if (!place)
        return report;
    report.file = PlainPath(place->file);
    const std::string text = textOf(place->file);
    const std::string before = text.substr(0, place->offset);
    report.line = 1 + static_cast<int>(std::count(before.begin(), before.end(), '\n'));
    if (withExcerpt)
        AddExcerpt(SourceLines::OfText(text), before.size() - (before.rfind('\n') + 1), report);
    return report;
}

void addReports(const std::string& log, const ShaderStage& stage, const std::string& path,
                std::vector<ErrorReport>& reports) {
    const std::vector<ShaderComplaint> complaints = ReadShaderLog(log);
    for (std::size_t i = 0; i < std::min(complaints.size(), kMostReports); ++i)
        reports.push_back(makeReport(complaints[i], FindShaderPlace(stage, complaints[i]), path, i == 0));
}

class ShaderErrors : public Feature, private ShaderObserver {
public:
    ShaderErrors() { shaderObserver = this; }
    ~ShaderErrors() override { shaderObserver = nullptr; }
    ShaderErrors(const ShaderErrors&) = delete;
    ShaderErrors& operator=(const ShaderErrors&) = delete;

private:
    void ProgramBuilt(const char* path, unsigned program, const ShaderStage& vert,
                      const ShaderStage& frag) override {
        const std::string file = PlainPath(nativePath(path));
        std::vector<ErrorReport> reports;
        for (const ShaderStage* stage : {&vert, &frag})
            if (!IsCompiled(stage->shader))
                addReports(LogOf(stage->shader), *stage, file, reports);
        if (reports.empty() && !isProgramLinked(program))
            addReports(LogOf(program), ShaderStage(), file, reports);
        print(reports);
        if (!reports.empty())
            shaderProblems.reports[file] = reports;
        if (!reports.empty() || shaderProblems.reports.erase(file) > 0)
            ++shaderProblems.changes;
    }

    // Standard output first: both may go to one terminal.
    static void print(const std::vector<ErrorReport>& reports) {
        fflush(stdout);
        for (const ErrorReport& report : reports)
            fputs(report.Text().c_str(), stderr);
    }
};

} // namespace

ShaderProblems shaderProblems;

void ShaderProblems::Forget() {
    reports.clear();
    ++changes;
}

std::unique_ptr<Feature> MakeShaderErrors() {
    return std::make_unique<ShaderErrors>();
}
