# Draws the demo of active noise control from the tables of `noise_control`.
# Set before: dir, the folder of the tables and of the picture.

if (strstrt(GPVAL_TERMINALS, "pngcairo") > 0) {
    set terminal pngcairo size 1200,560 font "Sans,11" linewidth 1.2 background "#ffffff"
} else {
    set terminal png size 1200,560
}
set encoding utf8
set output dir."/noise_control.png"

uncontrolled = "#9a9a9a"; filteredx = "#2f5d8a"; adjoint = "#c0562f"
levels = dir."/levels.dat"
spectra = dir."/spectra.dat"

set border 3 linecolor "#666666"
set tics nomirror out scale 0.5 textcolor "#333333"
set grid ytics linecolor "#dddddd" linewidth 0.6 linetype 1 dashtype solid
unset key
set multiplot
set tmargin at screen 0.91; set bmargin at screen 0.125

# The level at the error microphone.
stats levels using 1 nooutput name "T"
stats levels using 2 nooutput name "L"
set title "Sound at the error microphone, control from 1 s on" offset 0,-0.3
set lmargin at screen 0.07; set rmargin at screen 0.48
set xrange [0:ceil(T_max)]
set yrange [*:5 * ceil((L_max + 3) / 5.0)]
set ytics 10
set xlabel "time (s)"
set ylabel "sound pressure level (dB re 20 µPa)"
set key at graph 0.97, graph 0.83 right top samplen 3 spacing 1.2 textcolor "#333333"
plot levels using 1:2 with lines linewidth 1.6 linecolor rgb uncontrolled title "no control", \
     "" using 1:3 with lines linewidth 3.2 linecolor rgb filteredx title "filtered-x LMS", \
     "" using 1:4 with lines linewidth 1.2 linecolor rgb adjoint title "adjoint LMS"

# What it is made of in the end.
set title "Its spectrum in the end, in bands of 7.8 Hz"
set lmargin at screen 0.575; set rmargin at screen 0.98
set xrange [0:2000]
set yrange [20:*]
set xtics 0,400
set xlabel "frequency (Hz)"
set ylabel "level of a band (dB re 20 µPa)"
unset key
plot spectra using 1:2 with filledcurves y=20 fillstyle solid 0.35 noborder \
        linecolor rgb uncontrolled, \
     "" using 1:2 with lines linewidth 1.6 linecolor rgb uncontrolled, \
     "" using 1:3 with lines linewidth 3.2 linecolor rgb filteredx, \
     "" using 1:4 with lines linewidth 1.2 linecolor rgb adjoint

unset multiplot
