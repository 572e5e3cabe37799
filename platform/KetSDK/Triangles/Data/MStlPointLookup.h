#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Triangles/Data/MStlPoint.h>

#include <cstddef>
#include <memory>

// Finds the first of the entered points at a position. A table that its owner keeps beside a sequence
// of points and brings up to date before each use, so that points which nobody looks up cost nothing.
// Used by one thread at a time while points are entered; concurrent look-ups are safe.
class MStlPointLookup {
public:
    MStlPointLookup();
    MStlPointLookup(MStlPointLookup const&) = delete;
    MStlPointLookup& operator=(MStlPointLookup const&) = delete;
    ~MStlPointLookup();

    // Enters the points of the sequence that came after the last one entered.
    template <typename Points>
    void Update(Points& points) {
        if (m_entered == points.size())
            return;
        _Reserve(points.size());
        for (; m_entered < points.size(); ++m_entered)
            _Enter(points[m_entered]);
    }

    // The point at the position; null when none is there.
    MStlPoint* Find(MLong x, MLong y, MLong z) const noexcept;

    // The point at the position, appended to the sequence with the next index when none is there.
    template <typename Points>
    MStlPoint* FindOrAppend(Points& points, MLong x, MLong y, MLong z) {
        Update(points);
        if (MStlPoint* const found = Find(x, y, z))
            return found;
        MStlPoint& added = points.emplace_back(x, y, z, static_cast<MLong>(points.size()));
        _Enter(added);
        ++m_entered;
        return &added;
    }

private:
    struct Table;

    void _Reserve(std::size_t number_of_points);
    void _Enter(MStlPoint& point);

    std::unique_ptr<Table> m_table;
    std::size_t m_entered = 0;
};
