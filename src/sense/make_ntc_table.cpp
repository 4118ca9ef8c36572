// SPDX-License-Identifier: Apache-2.0
// Makes src/sense/ntc_table.inc: the temperature of the board's NTC thermistor for each raw reading.
//
// The divider gives reading r the resistance ratio (255 - r) / r. Measured rows are met exactly; between them
// the table follows the thermistor's own curve: the Steinhart-Hart equation fitted to the rows, plus what it
// misses the rows by, interpolated with a monotone cubic (Fritsch and Carlson) so that nothing overshoots.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <vector>

namespace
{

struct Row {
    int reading;
    int hundredths; // of a degree Celsius
};

// Measured. Below the first and above the last the table is clamped.
constexpr Row rows[] = {{3, -4739},  {10, -3199}, {20, -2111}, {32, -1221},  {50, -273},
                        {57, -21},   {58, 17},    {64, 317},   {80, 898},    {96, 1501},
                        {112, 1987}, {128, 2539}, {144, 3129}, {160, 3762},  {176, 4448},
                        {192, 5219}, {208, 6209}, {224, 7619}, {240, 10089}, {250, 14360}};
constexpr std::size_t row_count = std::size(rows);
constexpr int coldest = -5000;
constexpr int hottest = 15000;
constexpr double zero_celsius = 273.15; // kelvin

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

// The terms that the Steinhart-Hart coefficients stand before: 1, ln R, (ln R)^3.
Vector terms(int reading)
{
    const double log_ratio = std::log((255.0 - reading) / reading);
    return {1, log_ratio, log_ratio * log_ratio * log_ratio};
}

double kelvin(const Vector &coefficients, const Vector &x)
{
    return 1 / (coefficients[0] * x[0] + coefficients[1] * x[1] + coefficients[2] * x[2]);
}

double measured_kelvin(const Row &row)
{
    return row.hundredths / 100.0 + zero_celsius;
}

// Solves a * x = b by Gauss-Jordan elimination; a has large enough pivots in this order.
Vector solve(Matrix a, Vector b)
{
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            if (j == i)
                continue;
            const double factor = a[j][i] / a[i][i];
            for (std::size_t k = 0; k < 3; ++k)
                a[j][k] -= factor * a[i][k];
            b[j] -= factor * b[i];
        }
    }
    return {b[0] / a[0][0], b[1] / a[1][1], b[2] / a[2][2]};
}

// One Gauss-Newton step toward the least squares of the temperatures.
Vector improved(const Vector &coefficients)
{
    Matrix a{};
    Vector b{};
    for (const Row &row : rows) {
        const Vector x = terms(row.reading);
        const double t = kelvin(coefficients, x);
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j)
                a[i][j] += t * t * x[i] * t * t * x[j];
            b[i] -= t * t * x[i] * (measured_kelvin(row) - t);
        }
    }
    const Vector step = solve(a, b);
    return {coefficients[0] + step[0], coefficients[1] + step[1], coefficients[2] + step[2]};
}

Vector fit()
{
    Vector coefficients{1 / 298.0, 1 / 4000.0, 0}; // a thermistor like any other
    for (int i = 0; i < 50; ++i)
        coefficients = improved(coefficients);
    return coefficients;
}

// Slopes at the rows of a monotone cubic through their residuals.
std::vector<double> slopes(const std::vector<double> &residuals)
{
    std::vector<double> slope(row_count, 0.0);
    for (std::size_t i = 1; i + 1 < row_count; ++i) {
        const double before = rows[i].reading - rows[i - 1].reading;
        const double after = rows[i + 1].reading - rows[i].reading;
        const double rise = (residuals[i] - residuals[i - 1]) / before;
        const double next = (residuals[i + 1] - residuals[i]) / after;
        if (rise * next > 0) // else a turning point, which stays at its row
            slope[i] = 3 * (before + after) / ((2 * after + before) / rise + (after + 2 * before) / next);
    }
    return slope;
}

double hermite(std::size_t i, int reading, const std::vector<double> &value, const std::vector<double> &slope)
{
    const double width = rows[i + 1].reading - rows[i].reading;
    const double t = (reading - rows[i].reading) / width;
    const double u = 1 - t;
    return (1 + 2 * t) * u * u * value[i] + t * u * u * width * slope[i] +
           t * t * (3 - 2 * t) * value[i + 1] - t * t * u * width * slope[i + 1];
}

std::array<int, 256> make_table()
{
    const Vector coefficients = fit();
    const auto fitted = [&](int reading) {
        return 100 * (kelvin(coefficients, terms(reading)) - zero_celsius);
    };
    std::vector<double> residuals;
    for (const Row &row : rows)
        residuals.push_back(row.hundredths - fitted(row.reading));
    const std::vector<double> slope = slopes(residuals);

    std::array<int, 256> table{};
    std::fill(table.begin(), table.begin() + rows[0].reading, coldest);
    std::fill(table.begin() + rows[row_count - 1].reading + 1, table.end(), hottest);
    for (std::size_t i = 0; i + 1 < row_count; ++i) {
        for (int reading = rows[i].reading; reading <= rows[i + 1].reading; ++reading)
            table[static_cast<std::size_t>(reading)] =
                static_cast<int>(std::lround(fitted(reading) + hermite(i, reading, residuals, slope)));
    }
    return table;
}

} // namespace

int main()
{
    std::puts("// Made by make_ntc_table. Hundredths of a degree Celsius by raw reading, eight a line.");
    const std::array<int, 256> table = make_table();
    for (std::size_t i = 0; i < table.size(); ++i)
        std::printf("%d,%c", table[i], i % 8 == 7 ? '\n' : ' ');
    return 0;
}
