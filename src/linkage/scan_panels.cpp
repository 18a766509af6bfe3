#include "linkage/scan_panels.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "driver/utilities.h"
#include "input/marker_map.h"
#include "linkage/linkmap.h"
#include "linkage/mlink.h"

namespace {

// A stretch of the map covered by one trait position of a window.
enum class Stretch { before, between, after };
using StretchKey = std::tuple<Stretch, int, int>;  // kind and the map indices of its markers

struct StretchPoints {
    double centrality;  // distance of the stretch from the window's centre, in markers
    std::vector<ScanPoint> points;
};

class MapOrder {
public:
    explicit MapOrder(MarkerMap& map) : map(map) {
        for (int i = 0; i < map.getMarkerCount(); ++i) indexOf[map.getMarkerName(IntToString(i))] = i;
    }
    int index(const std::string& name) const {
        const auto found = indexOf.find(name);
        return found == indexOf.end() ? -1 : found->second;
    }
    const Marker* marker(const std::string& name) const { return map.getMarkerWithName(name); }

private:
    MarkerMap& map;
    std::map<std::string, int> indexOf;
};

// The multipoint stretches of a phenotype, each from its most central window.
std::map<StretchKey, StretchPoints> stretchesOf(const Linkmap& multipoint, const std::string& phenotype,
                                                const MapOrder& order) {
    std::map<StretchKey, StretchPoints> stretches;
    for (const std::string& key : multipoint.getWindowKeys(phenotype)) {
        const std::vector<LinkmapLikelihoods*>& window = multipoint.getWindow(phenotype, key);
        if (window.empty()) continue;
        const std::vector<std::string>& names = window.front()->getMarkerNames();
        const int k = static_cast<int>(names.size());
        for (const LinkmapLikelihoods* record : window) {
            const int t = record->getTraitPosition();
            if (t < 0 || t > k || k == 0) continue;
            StretchKey stretch;
            double centrality = 0.0;
            if (t == 0) stretch = {Stretch::before, order.index(names.front()), -1};
            else if (t == k) stretch = {Stretch::after, order.index(names.back()), -1};
            else {
                stretch = {Stretch::between, order.index(names[static_cast<size_t>(t) - 1]),
                           order.index(names[static_cast<size_t>(t)])};
                centrality = std::fabs(t - k / 2.0);
            }
            const auto known = stretches.find(stretch);
            if (known != stretches.end() && known->second.centrality <= centrality) continue;
            StretchPoints points{centrality, {}};
            for (const FastlinkLikelihoods* evaluation : record->getEvaluations()) {
                const double position = multipoint.getPosition(record, evaluation);
                if (std::isfinite(position)) points.points.push_back({position, record->getLodScore(evaluation)});
            }
            stretches[stretch] = points;
        }
    }
    return stretches;
}

int phenotypeIndex(const std::vector<std::string>& phenotypes, const std::string& name) {
    const auto found = std::find(phenotypes.begin(), phenotypes.end(), name);
    return found == phenotypes.end() ? -1 : static_cast<int>(found - phenotypes.begin());
}

}  // namespace

std::vector<ScanPanel> scanPanels(const MLink* singlepoint, const Linkmap* multipoint, MarkerMap& map) {
    const MapOrder order(map);
    std::vector<std::string> phenotypes;
    if (singlepoint) phenotypes = singlepoint->getPhenotypes();
    if (multipoint)
        for (const std::string& phenotype : multipoint->getPhenotypes())
            if (phenotypeIndex(phenotypes, phenotype) < 0) phenotypes.push_back(phenotype);

    std::vector<ScanPanel> panels;
    for (const std::string& phenotype : phenotypes) {
        std::map<int, ScanMarker> markers;  // by map index
        const auto add = [&](const std::string& name) -> ScanMarker* {
            const int index = order.index(name);
            const Marker* onMap = order.marker(name);
            if (index < 0 || !onMap) return nullptr;
            ScanMarker& marker = markers[index];
            marker.name = name;
            marker.position = onMap->getPosition();
            return &marker;
        };

        const int p = singlepoint ? phenotypeIndex(singlepoint->getPhenotypes(), phenotype) : -1;
        if (p >= 0 && static_cast<size_t>(p) < singlepoint->getResults().size()) {
            const auto& results = singlepoint->getResults()[static_cast<size_t>(p)];
            const auto& maxima = singlepoint->getHLodMaxima();
            for (size_t m = 0; m < results.size(); ++m) {
                ScanMarker* marker = add(results[m]->getIndex());
                if (!marker) continue;
                if (const FastlinkLikelihoods* best = results[m]->getLikelihoodWithMaxLodScore())
                    marker->lod = best->getLodScore();
                if (static_cast<size_t>(p) < maxima.size() && m < maxima[static_cast<size_t>(p)].size())
                    marker->hlod = maxima[static_cast<size_t>(p)][m]->getHLod();
            }
        }
        std::map<StretchKey, StretchPoints> stretches;
        if (multipoint) {
            for (const std::string& key : multipoint->getWindowKeys(phenotype)) {
                const std::vector<LinkmapLikelihoods*>& window = multipoint->getWindow(phenotype, key);
                if (!window.empty())
                    for (const std::string& name : window.front()->getMarkerNames()) add(name);
            }
            stretches = stretchesOf(*multipoint, phenotype, order);
        }

        // One page per chromosome, in the order the map first names it.
        std::vector<std::string> chromosomes;
        for (const auto& marker : markers) {
            const std::string& chromosome = order.marker(marker.second.name)->getChromosome();
            if (std::find(chromosomes.begin(), chromosomes.end(), chromosome) == chromosomes.end())
                chromosomes.push_back(chromosome);
        }
        for (const std::string& chromosome : chromosomes) {
            ScanPanel panel;
            panel.phenotype = phenotype;
            panel.chromosome = chromosome;
            const auto onChromosome = [&](int index) {
                const auto found = markers.find(index);
                return found != markers.end() && order.marker(found->second.name)->getChromosome() == chromosome;
            };
            for (const auto& marker : markers)
                if (onChromosome(marker.first)) panel.markers.push_back(marker.second);

            // The multipoint line reaches beyond the chromosome's outermost window markers only.
            int first = -1, last = -1;
            for (const auto& stretch : stretches) {
                for (int index : {std::get<1>(stretch.first), std::get<2>(stretch.first)}) {
                    if (index < 0 || !onChromosome(index)) continue;
                    if (first < 0 || index < first) first = index;
                    if (index > last) last = index;
                }
            }
            // Each stretch is drawn on its own: neighbouring windows need not agree at a marker.
            std::vector<const std::vector<ScanPoint>*> used;
            for (const auto& stretch : stretches) {
                const Stretch kind = std::get<0>(stretch.first);
                const int a = std::get<1>(stretch.first), b = std::get<2>(stretch.first);
                const bool onPage = kind == Stretch::between ? onChromosome(a) && onChromosome(b)
                                    : kind == Stretch::before ? a == first
                                                              : a == last;
                if (onPage && a >= 0 && !stretch.second.points.empty()) used.push_back(&stretch.second.points);
            }
            std::stable_sort(used.begin(), used.end(),
                             [](const std::vector<ScanPoint>* x, const std::vector<ScanPoint>* y) {
                                 return x->front().position < y->front().position;
                             });
            for (const std::vector<ScanPoint>* points : used) {
                if (!panel.multipoint.empty()) panel.multipoint.push_back(kProfileBreak);
                panel.multipoint.insert(panel.multipoint.end(), points->begin(), points->end());
            }
            panels.push_back(panel);
        }
    }
    return panels;
}
