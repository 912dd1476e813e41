# Draws the demo of the echo canceller from the tables of `echo_scene score`.
# Set before: dir, the folder of the tables and of the picture.

if (strstrt(GPVAL_TERMINALS, "pngcairo") > 0) {
    set terminal pngcairo size 1200,820 font "Sans,11" linewidth 1.2 background "#ffffff"
} else {
    set terminal png size 1200,820
}
set output dir."/echo_canceller.png"

far = "#2f5d8a"; heard = "#9a9a9a"; clean = "#2e7d5b"; mark = "#c0562f"
waves = dir."/echo_waveforms.dat"
last = 0
both = system("cut -d' ' -f1 ".dir."/intervals.txt") + 0
nearalone = system("cut -d' ' -f2 ".dir."/intervals.txt") + 0
faragain = system("cut -d' ' -f3 ".dir."/intervals.txt") + 0

set border 3 linecolor "#666666"
set tics nomirror out scale 0.5 textcolor "#333333"
set grid ytics linecolor "#dddddd" linewidth 0.6 linetype 1 dashtype solid
unset key
set multiplot

# Who speaks, behind all panels.
set object 1 rectangle from both, graph 0 to nearalone, graph 1 behind fillstyle solid noborder \
    fillcolor rgb "#f8e6dc"
set object 2 rectangle from nearalone, graph 0 to faragain, graph 1 behind fillstyle solid noborder \
    fillcolor rgb "#e4f0e8"

stats waves using 1 nooutput name "T"
stats waves using (abs($2) > abs($3) ? abs($2) : abs($3)) nooutput name "A"
stats waves using (abs($4) > abs($5) ? abs($4) : abs($5)) nooutput name "B"
full = ceil(10 * (A_max > B_max ? A_max : B_max)) / 10.0
end = ceil(T_max)
set lmargin at screen 0.075
set rmargin at screen 0.98
set xrange [0:end]
set yrange [-full:full]
set xtics 0,2
set ytics -0.5,0.5,0.5
set style fill solid 1.0 noborder
set format x ""

set label 1 "far end alone" at both / 2, graph 1.32 center textcolor rgb "#555555"
set label 2 "both speak" at (both + nearalone) / 2, graph 1.32 center textcolor rgb mark
set label 3 "near end alone" at (nearalone + faragain) / 2, graph 1.32 center textcolor rgb clean
set label 4 "far end alone" at (faragain + end) / 2, graph 1.32 center textcolor rgb "#555555"
set title "Far end: what the loudspeaker plays" offset 0,-0.7
set tmargin at screen 0.925; set bmargin at screen 0.79
plot waves using 1:2:3 with filledcurves linecolor rgb far
unset label

set title "Microphone: the far end through the room, and the near-end voice"
set ylabel "amplitude (1 = full scale)" offset 0.5
set tmargin at screen 0.745; set bmargin at screen 0.61
plot waves using 1:4:5 with filledcurves linecolor rgb heard

unset ylabel
set title "Output of the echo canceller"
set tmargin at screen 0.565; set bmargin at screen 0.43
plot waves using 1:6:7 with filledcurves linecolor rgb clean

set format x "%g"
set xlabel "time (s)" offset 0,0.5
set ylabel "enhancement (dB)" offset 0.5
set title "Echo return loss enhancement in 100 ms (ticks: the filter that is heard is renewed)"
set yrange [-5:*]
set ytics 10
set tmargin at screen 0.375; set bmargin at screen 0.075
plot dir."/erle.dat" using 1:2 with linespoints linewidth 1.5 pointtype 7 pointsize 0.4 \
        linecolor rgb clean, \
     dir."/echo_levels.dat" using 1:($4 > last ? (last = $4, -5) : NaN):(0):(2) with vectors \
        nohead linewidth 2.5 linecolor rgb mark

unset multiplot
