#include "demo/picture.h"

#include <algorithm>
#include <tuple>

template <class Item, class Same>
static bool areSame(const std::vector<Item>& left, const std::vector<Item>& right, Same same)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), same);
}

static bool isSamePoint(const Point& left, const Point& right)
{
    return left.x == right.x && left.y == right.y;
}

static bool isSameOutline(const Outline& left, const Outline& right)
{
    return areSame(left, right, isSamePoint);
}

static bool isSameShape(const Shape& left, const Shape& right)
{
    return std::tie(left.colour, left.alpha, left.isRound, left.line) ==
               std::tie(right.colour, right.alpha, right.isRound, right.line) &&
           areSame(left.outlines, right.outlines, isSameOutline);
}

static auto partsOf(const Label& label)
{
    return std::tie(label.x, label.y, label.width, label.size, label.align, label.isBold, label.colour, label.text);
}

bool operator==(const Pane& left, const Pane& right)
{
    const Rect& one = left.area;
    const Rect& other = right.area;
    return std::tie(one.x, one.y, one.width, one.height, left.ground) ==
               std::tie(other.x, other.y, other.width, other.height, right.ground) &&
           areSame(left.shapes, right.shapes, isSameShape) &&
           areSame(left.labels, right.labels,
                   [](const Label& first, const Label& second) { return partsOf(first) == partsOf(second); });
}
