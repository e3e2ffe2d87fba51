#include "Interchange/AnnotationTable.h"
#include "Interchange/Formats/Formats.h"
#include "Interchange/Formats/XMLText.h"
#include "Platform/PlainText.h"

#include <algorithm>
#include <cmath>
#include <pugixml.hpp>

namespace tarn::formats_detail {
namespace {

const std::vector<std::string_view> kLayerKinds{"beats", "chords", "sections", "regions", "markers"};

/// How a kind is shown: as instants, as text at instants, or as stretches with a label.
struct Layer {
    const char* type;
    const char* name;
    int dimensions; ///< of the model
    const char* subtype;
};

Layer layerOf(AnnotationKind kind) {
    switch (kind) {
    case AnnotationKind::beats:
        return {"timeinstants", "Beats", 1, ""};
    case AnnotationKind::markers:
        return {"timeinstants", "Markers", 1, ""};
    case AnnotationKind::chords:
        return {"text", "Chords", 2, "text"};
    case AnnotationKind::sections:
        return {"regions", "Sections", 3, "region"};
    case AnnotationKind::regions:
        return {"regions", "Regions", 3, "region"};
    }
    fatalError("This is not a kind of annotation");
}

std::string frameText(const Song& song, double seconds) {
    return std::to_string(static_cast<std::int64_t>(std::round(seconds * song.recording.sampleRate)));
}

void writeSVL(std::ostream& out, const Song& song, const WriteRequest& request) {
    const AnnotationKind kind = annotationKindNamed(request.options.text("what", "chords"));
    const Layer layer = layerOf(kind);
    pugi::xml_document document;
    auto declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    document.append_child(pugi::node_doctype).set_value("sonic-visualiser");
    auto root = document.append_child("sv");
    auto data = root.append_child("data");
    auto model = data.append_child("model");
    model.append_attribute("id") = 1;
    model.append_attribute("name") = layer.name;
    // The application counts in whole frames per second.
    const double rate = std::max(1.0, std::round(song.recording.sampleRate));
    model.append_attribute("sampleRate") = decimalText(rate, 0).c_str();
    model.append_attribute("start") = 0;
    model.append_attribute("end") = std::to_string(song.recording.frameCount).c_str();
    model.append_attribute("type") = "sparse";
    model.append_attribute("dimensions") = layer.dimensions;
    model.append_attribute("resolution") = 1;
    model.append_attribute("notifyOnAdd") = "true";
    model.append_attribute("dataset") = 0;
    if (layer.dimensions > 1)
        model.append_attribute("subtype") = layer.subtype;
    if (layer.dimensions > 2) {
        model.append_attribute("valueQuantization") = 0;
        model.append_attribute("minimum") = 0;
        model.append_attribute("maximum") = 1;
        model.append_attribute("units") = "";
    }
    auto dataset = data.append_child("dataset");
    dataset.append_attribute("id") = 0;
    dataset.append_attribute("dimensions") = layer.dimensions;
    for (const TimedLabel& label : timedLabels(song, kind, AnnotationFormat::csv)) {
        auto point = dataset.append_child("point");
        point.append_attribute("frame") = frameText(song, label.start).c_str();
        if (layer.dimensions == 2)
            point.append_attribute("height") = "0.5";
        if (layer.dimensions > 2) {
            point.append_attribute("value") = "0";
            point.append_attribute("duration") =
                frameText(song, label.end.value_or(label.start) - label.start).c_str();
        }
        point.append_attribute("label") = xmlText(label.label).c_str();
    }
    auto shown = root.append_child("display").append_child("layer");
    shown.append_attribute("id") = 2;
    shown.append_attribute("type") = layer.type;
    shown.append_attribute("name") = layer.name;
    shown.append_attribute("model") = 1;
    writeXML(out, document);
}

double frameOf(const pugi::xml_node& point, const char* attribute) {
    const std::string text = point.attribute(attribute).value();
    const auto frame = numberWithText(text);
    if (!frame)
        throw FormatError("a point's " + std::string(attribute) + " " + inQuotes(text) + " is not a number");
    return *frame;
}

std::string readSVL(Song& song, std::span<const std::byte> bytes, const ReadRequest& request) {
    pugi::xml_document document;
    parseUntrustedXML(document, bytes);
    const auto data = document.child("sv").child("data");
    pugi::xml_node model;
    for (const auto& candidate : data.children("model")) {
        if (std::string_view(candidate.attribute("type").value()) == "sparse") {
            model = candidate;
            break;
        }
    }
    if (!model)
        throw FormatError("it is not a layer of instants, text or regions of Sonic Visualiser");
    const auto rate = numberWithText(model.attribute("sampleRate").value());
    if (!rate || !(*rate >= 1))
        throw FormatError("its sample rate is not valid");
    // Points tell frames; at another rate than the recording's they are the same times.
    const auto dataset = data.find_child_by_attribute("dataset", "id", model.attribute("dataset").value());
    if (!dataset)
        throw FormatError("its points are missing");
    const double scale = std::round(song.recording.sampleRate) == *rate ? song.recording.sampleRate : *rate;
    std::vector<TimedLabel> labels;
    for (const auto& point : dataset.children("point")) {
        TimedLabel label{frameOf(point, "frame") / scale, {}, point.attribute("label").value()};
        if (point.attribute("duration"))
            label.end = label.start + frameOf(point, "duration") / scale;
        labels.push_back(std::move(label));
    }
    return replaceWithTimedLabels(song, annotationKindNamed(request.options.text("what", "chords")),
                                  std::move(labels));
}

} // namespace

Format svl() {
    Format format;
    format.name = "svl";
    format.endings = {".svl"};
    format.help = "A layer of Sonic Visualiser: instants, text or regions";
    format.writes = "beats, chords, sections, regions or markers";
    format.reads = "the same, from any of the three layers";
    format.writeOptions = {{"what", "KIND", "What the file holds", kLayerKinds, "chords"}};
    format.readOptions = format.writeOptions;
    format.write = writeSVL;
    format.read = readSVL;
    return format;
}

} // namespace tarn::formats_detail
