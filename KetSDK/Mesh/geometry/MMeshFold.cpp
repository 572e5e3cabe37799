// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshFold.h>

#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <boost/multiprecision/cpp_int.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace {

// Determinants of differences of 32-bit coordinates take up to 111 bits. Each cut needs three more.
__extension__ using Wide = __int128;
using Wider = boost::multiprecision::int512_t;

using Vector = std::array<std::int64_t, 3>;
using Columns = std::array<Vector, 3>;

// The columns of the Jacobian at a corner: the derivatives of the position by the barycentric coordinates of
// corners 1 to 3, each less that of corner 0.
Columns ColumnsAt(MMeshElement const& e, unsigned int corner) {
    std::array<std::array<unsigned char, 4>, 4>
        middle{}; // index in the element of the mid node between two corners
    for (unsigned char m = 0; m < 6; ++m) {
        auto const& ends = MMeshElementDescriptor::descr_tet4_tet10_point[m];
        middle[ends[0]][ends[1]] = middle[ends[1]][ends[0]] = static_cast<unsigned char>(4 + m);
    }
    auto const component = [&e](unsigned int node, std::size_t axis) -> std::int64_t {
        MMeshPoint const& p = *e.GetNode(node);
        MMeshPoint const& origin = *e.GetNode(0);
        std::int64_t const from[3] = {origin.x, origin.y, origin.z};
        std::int64_t const to[3] = {p.x, p.y, p.z};
        return to[axis] - from[axis];
    };
    // Shape functions L (2 L - 1) at corners, 4 L L' at mid nodes.
    auto const derivative = [&](unsigned int by, std::size_t axis) {
        return by == corner ? 3 * component(corner, axis)
                            : 4 * component(middle[by][corner], axis) - component(by, axis);
    };
    Columns columns{};
    for (unsigned int k = 0; k < 3; ++k)
        for (std::size_t axis = 0; axis < 3; ++axis)
            columns[k][axis] = derivative(k + 1, axis) - derivative(0, axis);
    return columns;
}

Wide Determinant(Vector const& a, Vector const& b, Vector const& c) {
    auto const minor = [&](std::size_t i, std::size_t j) { return Wide{b[i]} * c[j] - Wide{b[j]} * c[i]; };
    return a[0] * minor(1, 2) + a[1] * minor(2, 0) + a[2] * minor(0, 1);
}

// The determinant over a tetrahedron as a symmetric form of three of its corners (its blossom), times six at
// first and times eight more with each cut. The form of one corner three times is the value there.
template <typename Number>
class Form {
public:
    // How many bits values grow with each cut.
    static constexpr int BitsOfCut = 3;

    explicit Form(MMeshElement const& e) {
        std::array<Columns, 4> const at = {ColumnsAt(e, 0), ColumnsAt(e, 1), ColumnsAt(e, 2),
                                           ColumnsAt(e, 3)};
        Fill([&at](std::size_t u, std::size_t v, std::size_t w) {
            std::size_t order[3] = {u, v, w};
            std::size_t const permutations[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2},
                                                    {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
            Wide sum = 0;
            for (auto const& p : permutations)
                sum += Determinant(at[order[p[0]]][0], at[order[p[1]]][1], at[order[p[2]]][2]);
            return Number(sum);
        });
    }
    // Its halves after so many cuts. The edge that is cut is the one that keeps all pieces in a few shapes
    // (Maubach, Local bisection refinement for n-simplicial grids, 1995).
    std::array<Form, 2> Halves(int cuts) const {
        std::size_t const cut = 3 - static_cast<std::size_t>(cuts) % 3;
        std::array<std::size_t, 4> first = {0, 1, 2, 3};
        std::array<std::size_t, 4> second = {0, 1, 2, 3};
        for (std::size_t i = 0; i < cut; ++i)
            second[i] = i + 1;
        first[cut] = second[cut] = Middle;
        return {Form(*this, first, cut), Form(*this, second, cut)};
    }

    bool IsNegativeAtCorner() const {
        return std::ranges::any_of(Corners, [this](std::size_t i) { return m_values[i][i][i] < 0; });
    }
    bool HasNegative() const {
        return std::ranges::any_of(Corners, [this](std::size_t u) {
            return std::ranges::any_of(m_values[u], [](auto const& row) {
                return std::ranges::any_of(row, [](Number const& value) { return value < 0; });
            });
        });
    }
    // Whether halves of halves of it, as many times as that, have values that fit into 127 bits.
    bool CanBeCut(int times) const {
        Number const limit = Number(1) << (126 - BitsOfCut * times);
        return std::ranges::all_of(Corners, [&](std::size_t u) {
            return std::ranges::all_of(m_values[u], [&](auto const& row) {
                return std::ranges::all_of(
                    row, [&](Number const& value) { return value < limit && value > -limit; });
            });
        });
    }

private:
    // The form of one of the halves of `whole`, on whose corners i is that at from[i], or the middle of the
    // edge between corners 0 and `cut` where from[i] is Middle.
    static constexpr std::size_t Middle = 4;
    Form(Form const& whole, std::array<std::size_t, 4> const& from, std::size_t cut) {
        Fill([&](std::size_t u, std::size_t v, std::size_t w) {
            std::size_t const corners[3] = {from[u], from[v], from[w]};
            Number sum = 0;
            for (unsigned int ends = 0; ends < 8; ++ends) { // one end or the other in each place
                std::size_t at[3];
                for (unsigned int i = 0; i < 3; ++i)
                    at[i] = corners[i] != Middle ? corners[i] : (ends >> i & 1U) != 0 ? cut : 0;
                sum += whole.m_values[at[0]][at[1]][at[2]];
            }
            return sum;
        });
    }

    static constexpr std::array<std::size_t, 4> Corners = {0, 1, 2, 3};

    // Sets all values of a symmetric function of three corners.
    template <typename Value>
    void Fill(Value const& value) {
        for (std::size_t u = 0; u < 4; ++u)
            for (std::size_t v = u; v < 4; ++v)
                for (std::size_t w = v; w < 4; ++w)
                    m_values[u][v][w] = m_values[u][w][v] = m_values[v][u][w] = m_values[v][w][u] =
                        m_values[w][u][v] = m_values[w][v][u] = value(u, v, w);
    }

    std::array<std::array<std::array<Number, 4>, 4>, 4> m_values;
};

enum class Answer { No, Yes, Open };

// Looks for a negative value of a form in halves of halves.
class Search {
public:
    // Cuts at most so often, and gives up after so many pieces: near a determinant that touches zero in a
    // whole plane there would be no end of them.
    Search(int most_cuts, int most_pieces)
        : m_most_cuts(most_cuts)
        , m_pieces_left(most_pieces) {}

    // `cuts` is how often the piece was cut out of the whole.
    template <typename Form>
    Answer IsNegativeSomewhere(Form const& form, int cuts = 0) {
        if (form.IsNegativeAtCorner())
            return Answer::Yes;
        if (!form.HasNegative())
            return Answer::No;
        if (cuts == m_most_cuts || --m_pieces_left < 0)
            return Answer::Open;
        std::array<Form, 2> const halves = form.Halves(cuts);
        Answer const in_first = IsNegativeSomewhere(halves[0], cuts + 1);
        if (in_first == Answer::Yes)
            return in_first;
        Answer const in_second = IsNegativeSomewhere(halves[1], cuts + 1);
        return in_second == Answer::No ? in_first : in_second;
    }

private:
    int m_most_cuts;
    int m_pieces_left;
};

// How often a form of 128 bits may be cut; most are decided before.
constexpr int FewCuts = 5;
constexpr int ManyCuts = 45;
constexpr int ManyPieces = 2000;

// The edge of an element from one of its nodes to another.
Vector EdgeOf(MMeshElement const& e, unsigned int from, unsigned int to) {
    MMeshPoint const& a = *e.GetNode(from);
    MMeshPoint const& b = *e.GetNode(to);
    return {std::int64_t{b.x} - a.x, std::int64_t{b.y} - a.y, std::int64_t{b.z} - a.z};
}

bool IsInverted(MMeshElement const& e) {
    return Determinant(EdgeOf(e, 0, 1), EdgeOf(e, 0, 2), EdgeOf(e, 0, 3)) < 0;
}

// The determinant over a hexahedron by its Bernstein coefficients, three along each axis, times eight at
// first and times four more with each cut.
template <typename Number>
class BoxForm {
public:
    static constexpr int BitsOfCut = 2;

    // A derivative along an axis is linear along both others, so a coefficient is the sum over the ways to
    // take the ends that make it up: one derivative has the first of them, another one the second.
    explicit BoxForm(MMeshElement const& e) {
        constexpr unsigned int node[2][2][2] = {{{0, 4}, {3, 7}}, {{1, 5}, {2, 6}}};
        auto const along = [&](std::size_t axis, std::size_t p, std::size_t q) {
            switch (axis) {
            case 0:
                return EdgeOf(e, node[0][p][q], node[1][p][q]);
            case 1:
                return EdgeOf(e, node[p][0][q], node[p][1][q]);
            default:
                return EdgeOf(e, node[p][q][0], node[p][q][1]);
            }
        };
        // End 0 or 1 of the first or second factor in the coefficient of that number.
        auto const end = [](std::size_t coefficient, bool second, bool swapped) {
            return std::size_t{coefficient == 2 || (coefficient == 1 && second != swapped)};
        };
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < 3; ++j)
                for (std::size_t k = 0; k < 3; ++k) {
                    Wide sum = 0;
                    for (unsigned int swaps = 0; swaps < 8; ++swaps) {
                        bool const x = (swaps & 1U) != 0, y = (swaps & 2U) != 0, z = (swaps & 4U) != 0;
                        sum += Determinant(along(0, end(j, false, y), end(k, false, z)),
                                           along(1, end(i, false, x), end(k, true, z)),
                                           along(2, end(i, true, x), end(j, true, y)));
                    }
                    At(i, j, k) = Number(sum);
                }
    }

    // Cut across one axis after the other.
    std::array<BoxForm, 2> Halves(int cuts) const {
        std::array<BoxForm, 2> halves = {*this, *this};
        std::size_t const step = Steps[static_cast<std::size_t>(cuts) % 3];
        for (std::size_t at = 0; at < m_values.size(); ++at) {
            if (at / step % 3 != 0)
                continue;
            Number const& a = m_values[at];
            Number const& b = m_values[at + step];
            Number const& c = m_values[at + 2 * step];
            Number const middle = a + 2 * b + c;
            auto const set = [&](BoxForm& half, Number const& x, Number const& y, Number const& z) {
                half.m_values[at] = x;
                half.m_values[at + step] = y;
                half.m_values[at + 2 * step] = z;
            };
            set(halves[0], 4 * a, 2 * (a + b), middle);
            set(halves[1], middle, 2 * (b + c), 4 * c);
        }
        return halves;
    }

    bool IsNegativeAtCorner() const {
        for (std::size_t corner = 0; corner < 8; ++corner)
            if (At(2 * (corner & 1U), corner & 2U, (corner & 4U) / 2) < 0)
                return true;
        return false;
    }
    bool HasNegative() const {
        return std::ranges::any_of(m_values, [](Number const& value) { return value < 0; });
    }
    bool CanBeCut(int times) const {
        Number const limit = Number(1) << (126 - BitsOfCut * times);
        return std::ranges::all_of(m_values,
                                   [&](Number const& value) { return value < limit && value > -limit; });
    }

private:
    static constexpr std::array<std::size_t, 3> Steps = {9, 3, 1};

    Number& At(std::size_t i, std::size_t j, std::size_t k) { return m_values[9 * i + 3 * j + k]; }
    Number const& At(std::size_t i, std::size_t j, std::size_t k) const {
        return m_values[9 * i + 3 * j + k];
    }

    std::array<Number, 27> m_values;
};

// The determinant is linear over the triangle, so it is least on one of the upright edges, where it is a
// quadratic polynomial with Bernstein coefficients a, b, c.
bool IsWedgeFolded(MMeshElement const& e) {
    Columns const ends[2] = {{EdgeOf(e, 0, 1), EdgeOf(e, 0, 2)}, {EdgeOf(e, 3, 4), EdgeOf(e, 3, 5)}};
    for (unsigned int corner = 0; corner < 3; ++corner) {
        Vector const upright = EdgeOf(e, corner, corner + 3);
        auto const at = [&](std::size_t i, std::size_t j) {
            return Determinant(ends[i][0], ends[j][1], upright);
        };
        Wide const a = at(0, 0), c = at(1, 1);
        Wide const twice_b = at(0, 1) + at(1, 0);
        if (a < 0 || c < 0 || (twice_b < 0 && Wider(twice_b) * twice_b > 4 * Wider(a) * c))
            return true;
    }
    return false;
}

template <template <typename> typename Form>
bool IsNegativeSomewhere(MMeshElement const& element) {
    Form<Wide> const form(element);
    Answer answer = Answer::Open;
    if (form.CanBeCut(FewCuts))
        answer = Search(FewCuts, 1 << FewCuts).IsNegativeSomewhere(form);
    if (answer == Answer::Open)
        answer = Search(ManyCuts, ManyPieces).IsNegativeSomewhere(Form<Wider>(element));
    return answer == Answer::Yes;
}

} // namespace

bool IsFolded(MMeshElement const& element) noexcept {
    switch (element.GetNodeCount()) {
    case 4:
        return IsInverted(element);
    case 6:
        return IsWedgeFolded(element);
    case 8:
        return IsNegativeSomewhere<BoxForm>(element);
    case 10:
        return IsNegativeSomewhere<Form>(element);
    default:
        return false;
    }
}
