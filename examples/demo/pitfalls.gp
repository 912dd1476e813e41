# Draws the usual mistakes from the table of `pitfalls`.
# Set before: dir, the directory of the table and of the picture.
call "picture.gp" "pitfalls" 1200 840
curves = dir."/pitfalls.dat"
array names[12] = ["1  delay outside the taps", "2  sign", "3  wrong reference", "4  step", \
    "5  quiet passages", "6  double talk", "7  order too short", "8  table not filled", \
    "9  blocks with gaps", "10  order clamped", "11  quiet signals", "12  clock drift"]

set multiplot
set xrange [0:10]; set yrange [-90:25]
set xtics 0,5; set ytics -80,40
do for [k = 1:12] {
    across = (k - 1) % 4
    row = (k - 1) / 4
    set lmargin at screen 0.06 + 0.24 * across; set rmargin at screen 0.265 + 0.24 * across
    set tmargin at screen 0.95 - 0.315 * row; set bmargin at screen 0.725 - 0.315 * row
    set title names[k] offset 0,-0.6
    set xlabel (row == 2 ? "time (s)" : "") offset 0,0.4
    set ylabel (across == 0 ? "left (dB)" : "") offset 1,0
    set key at graph 0.98, graph 0.72 right top
    if (k > 1) { unset key }
    plot curves using 1:(column(2 * k)) with lines linewidth 1.8 linecolor rgb orange title "mistake", \
         "" using 1:(column(2 * k + 1)) with lines linewidth 1.8 linecolor rgb blue title "remedy"
}
unset multiplot
