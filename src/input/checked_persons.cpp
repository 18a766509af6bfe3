#include "input/checked_persons.h"

namespace {

std::string userIds(const std::string& pedigreeId, const std::string& personId) {
    return pedigreeId + '\0' + personId;
}

}  // namespace

std::unique_ptr<Person> CheckedPersons::take(const std::string& pedigreeId, const std::string& personId) {
    if (next < persons.size() && persons[next] && persons[next]->getPedigreeId() == pedigreeId &&
        persons[next]->getPersonId() == personId)
        return std::move(persons[next++]);
    if (placeByUserIds.empty()) {
        placeByUserIds.reserve(persons.size());
        for (size_t place = 0; place < persons.size(); ++place)
            if (persons[place]) placeByUserIds.emplace(userIds(persons[place]->getPedigreeId(), persons[place]->getPersonId()), place);
    }
    const auto found = placeByUserIds.find(userIds(pedigreeId, personId));
    if (found == placeByUserIds.end()) return nullptr;
    next = found->second + 1;
    return std::move(persons[found->second]);
}
