#pragma once
// The linkage results as tab-separated tables (one header line, full precision, NA for a
// missing value), written beside the text reports for R, pandas and the like.
//
// <prefix>_lod.tsv        phenotype analysis marker chromosome cM pedigree theta lod
//                         every LOD of the singlepoint grid, per pedigree and in total (ALL)
// <prefix>_hlod.tsv       phenotype analysis marker theta alpha hlod
//                         each marker's heterogeneity maximum
// <prefix>_multipoint.tsv phenotype window trait_position cM pedigree lod hlod alpha
//                         every multipoint evaluation point, per pedigree and in total (ALL)

#include <string>

class Linkmap;
class MarkerMap;
class MLink;

// Either analysis may be null. Each writer prints the file's name, and on failure the reason,
// and returns false when the file cannot be written.
bool writeLodTable(const std::string& fileName, const MLink* singlepoint, const MLink* nuclear, MarkerMap& map);
bool writeHLodTable(const std::string& fileName, const MLink* singlepoint, const MLink* nuclear);
bool writeMultipointTable(const std::string& fileName, const Linkmap& multipoint);
