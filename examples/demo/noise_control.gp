# Draws the demo of active noise control from the tables of `noise_control`.
# Set before: dir, the folder of the tables and of the picture.

if (strstrt(GPVAL_TERMINALS, "pngcairo") > 0) {
    set terminal pngcairo size 1200,560 font "Sans,11" linewidth 1.2 background "#ffffff"
} else {
    set terminal png size 1200,560
}
set output dir."/noise_control.png"

uncontrolled = "#9a9a9a"; filteredx = "#2f5d8a"; adjoint = "#c0562f"
levels = dir."/levels.dat"
spectra = dir."/spectra.dat"

set border 3 linecolor "#666666"
set tics nomirror out scale 0.5 textcolor "#333333"
set grid ytics linecolor "#dddddd" linewidth 0.6 linetype 1 dashtype solid
unset key
set multiplot
set tmargin at screen 0.83; set bmargin at screen 0.125

# The level at the error microphone from the start of control.
stats levels using 1 nooutput name "T"
stats levels using 2 nooutput name "L"
set title "Sound at the error microphone, in stretches of 50 ms" offset 0,-0.3
set lmargin at screen 0.07; set rmargin at screen 0.48
set xrange [0:ceil(T_max)]
set yrange [*:5 * ceil((L_max + 1) / 5.0)]
set ytics 10
set xlabel "time since control began (s)"
set ylabel "sound pressure level (dB re 20 µPa)"
set key at screen 0.525, screen 0.975 center top horizontal samplen 2.5 textcolor "#333333" maxrows 1 width 4
plot levels using 1:2 with lines linewidth 1.3 linecolor rgb uncontrolled title "no control", \
     "" using 1:3 with lines linewidth 2.2 linecolor rgb filteredx title "filtered-x LMS", \
     "" using 1:4 with lines linewidth 1.1 linecolor rgb adjoint title "adjoint LMS"

# What it is made of in the end.
set title "Its spectrum over the last quarter, in bands of 7.8 Hz"
set lmargin at screen 0.575; set rmargin at screen 0.98
set xrange [0:2000]
set yrange [*:*]
set xtics 400
set ytics auto
set xlabel "frequency (Hz)"
set ylabel "level of a band (dB re 20 µPa)"
unset key
plot spectra using 1:2 with filledcurves y=0 fillstyle solid 0.35 noborder linecolor rgb uncontrolled, \
     "" using 1:3 with lines linewidth 2.2 linecolor rgb filteredx, \
     "" using 1:4 with lines linewidth 1.1 linecolor rgb adjoint

unset multiplot
