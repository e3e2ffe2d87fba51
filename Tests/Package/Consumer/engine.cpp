#include "AnalysisEngine/AnalysisEngine.h"
#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"

#include <cstdio>

int main() {
    tarn::registerAnalysisEngine();
    const auto refusal = tarn::AnalysisOperationFactory::shared()->refusal("missing");
    std::printf("engine: %d\n",
                refusal && refusal->code == static_cast<long>(tarn::AnalysisRefusal::missingFile));
    return 0;
}
