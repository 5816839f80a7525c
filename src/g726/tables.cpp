// Constants of ITU-T G.726 by rate, with the names of the recommendation.
#include "g726/tables.h"

namespace ryxsc::g726 {

namespace {

// By code: log magnitude DQLN (Q7) of the inverse quantiser, scale factor multiplier W(I) times 32, rate function F(I)
// times 512. The second half of each table, for the codes with the sign bit, is the first one backwards.
struct Row {
    int16_t logMagnitude;
    int32_t scaleMultiplier;
    int16_t rateFunction;
};
template <size_t n> using Rows = std::array<Row, n>;

constexpr Rows<2> rows16k = {{
    {  116,  -704,    0}, {  365, 14048, 3584}}};
constexpr Rows<4> rows24k = {{
    {-2048,  -128,    0}, {  135,   960,  512}, {  273,  4384, 1024}, {  373, 18624, 3584}}};
constexpr Rows<8> rows32k = {{
    {-2048,  -384,    0}, {    4,   576,    0}, {  135,  1312,    0}, {  213,  2048,  512},
    {  273,  3584,  512}, {  323,  6336,  512}, {  373, 11360, 1536}, {  425, 35904, 3584}}};
constexpr Rows<16> rows40k = {{
    {-2048,   448,    0}, {  -66,   448,    0}, {   28,   768,    0}, {  104,  1248,    0},
    {  169,  1280,    0}, {  224,  1312,  512}, {  274,  1856,  512}, {  318,  3200,  512},
    {  358,  4512,  512}, {  395,  5728,  512}, {  429,  7008, 1024}, {  459,  8960, 1536},
    {  488, 11456, 2048}, {  514, 14080, 2560}, {  539, 16928, 3072}, {  566, 22272, 3072}}};

// Decision levels of the quantiser, descending. The leading level 2048 of the recommendation is left out: no difference
// reaches it.
constexpr std::array<int16_t, 1> levels16k = {261};
constexpr std::array<int16_t, 3> levels24k = {331, 218, 8};
constexpr std::array<int16_t, 7> levels32k = {400, 349, 300, 246, 178, 80, -124};
constexpr std::array<int16_t, 16> levels40k = {553, 528, 502, 475, 445, 413, 378, 339, 298, 250, 198, 139, 68, 0, -16, -122};

// Codes by the number of levels above the log difference.
constexpr std::array<int16_t, 2> positive16k = {1, 0};
constexpr std::array<int16_t, 2> negative16k = {2, 3};
constexpr std::array<int16_t, 4> positive24k = {3, 2, 1, 7};
constexpr std::array<int16_t, 4> negative24k = {4, 5, 6, 7};
constexpr std::array<int16_t, 8> positive32k = {7, 6, 5, 4, 3, 2, 1, 15};
constexpr std::array<int16_t, 8> negative32k = {8, 9, 10, 11, 12, 13, 14, 15};
constexpr std::array<int16_t, 17> positive40k = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 2, 1, 31};
constexpr std::array<int16_t, 17> negative40k = {16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 29, 30, 31};

template <size_t half, size_t levelCount>
constexpr RateTables makeTables(const Rows<half> &rows, const std::array<int16_t, levelCount> &levels,
                                const std::array<int16_t, levelCount + 1> &positive,
                                const std::array<int16_t, levelCount + 1> &negative, int zeroLeak) {
    RateTables tables{};
    tables.levels.fill(-32768);
    for (size_t i = 0; i < levelCount; i++)
        tables.levels[i] = levels[i];
    for (size_t code = 0; code < 2 * half; code++) {
        const Row &row = rows[code < half ? code : 2 * half - 1 - code];
        tables.codes[code] = {(row.logMagnitude + 127 * 128) * 65536, code < half ? 0 : -1, row.scaleMultiplier,
                              row.rateFunction, static_cast<int16_t>(code)};
    }
    for (size_t i = 0; i <= levelCount; i++) {
        tables.decisions[0][i] = tables.codes[static_cast<size_t>(positive[i])];
        tables.decisions[1][i] = tables.codes[static_cast<size_t>(negative[i])];
    }
    tables.codeMask = static_cast<int>(2 * half - 1);
    tables.signBit = static_cast<int>(half);
    tables.zeroLeak = zeroLeak;
    return tables;
}

} // namespace

constexpr std::array<RateTables, rates> rateTables = {
    makeTables(rows16k, levels16k, positive16k, negative16k, 8), makeTables(rows24k, levels24k, positive24k, negative24k, 8),
    makeTables(rows32k, levels32k, positive32k, negative32k, 8), makeTables(rows40k, levels40k, positive40k, negative40k, 9)};

} // namespace ryxsc::g726
