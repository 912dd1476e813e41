# Draws a panel for each family from the tables of `tour`: tour.dat and its printed table, tour.txt.
# Set before: dir, the directory of the tables and of the picture.
call "picture.gp" "gallery" 1280 1480
curves = dir."/tour.dat"

# Column n of row i of the printed table, from 0.
field(i, n) = system(sprintf("awk -F '  +' 'NR == %d { print $%d }' '%s/tour.txt'", i + 2, n, dir))
families = 17
# The right end of each panel in samples; the first panel is a frequency response.
ends = "0.5 1000 16000 6000 1000 16000 6000 50000 8000 8000 6000 6000 800 800 800 800 6000"

plain = "#b0b0b0"
columns = 4
left(c) = 0.058 + 0.2395 * c
top(r) = 0.96 - 0.19 * r
width = 0.2; height = 0.12

set tics scale 0.4 font ",10"
unset key; set multiplot

do for [i = 0:families - 1] {
    c = i % columns; r = i / columns
    set lmargin at screen left(c); set rmargin at screen left(c) + width
    set tmargin at screen top(r) - 0.03; set bmargin at screen top(r) - 0.03 - height
    unset label; unset arrow
    if (i == 0) { # the legend, drawn with the first panel
        set arrow 2 from screen 0.06, screen 0.99 to screen 0.085, screen 0.99 nohead linewidth 2 linecolor rgb blue
        set arrow 3 from screen 0.26, screen 0.99 to screen 0.285, screen 0.99 nohead linewidth 1.6 linecolor rgb plain
        set arrow 4 from screen 0.6, screen 0.99 to screen 0.625, screen 0.99 nohead linewidth 1.2 linecolor rgb orange dashtype 3
        set label 5 "family of the panel" at screen 0.092, screen 0.99
        set label 6 "plainer filter, as named, on the same signals" at screen 0.292, screen 0.99
        set label 7 "goal for the family" at screen 0.632, screen 0.99
        set label 8 "ns: time per sample" at screen 0.977, screen 0.99 right textcolor rgb "#666666"
        set label 9 "residual: power of the difference between ideal and actual output re power of the ideal output, mean of 20 runs" \
            at screen 0.06, screen 0.973 font ",10.5" textcolor rgb "#333333"
    }
    end = real(word(ends, i + 1))
    lowest = i == 0 ? -90 : end == 800 ? -20 : -80
    set label 1 field(i, 1) at graph 0, 1.21 font "Sans Bold,12" textcolor rgb blue
    set label 2 field(i, 2) at graph 0, 1.085 font ",10.5" textcolor rgb "#333333"
    set label 3 field(i, 6)." ns" at graph 1, 1.21 right font ",10.5" textcolor rgb "#666666"
    rival = field(i, 7)
    set label 4 rival[1:strstrt(rival, ":") - 1] at graph 0.97, (i == 7 ? 0.82 : 0.9) right font ",10" textcolor rgb "#8a8a8a"
    set xrange [0:end]; set yrange [lowest:5]
    step = i == 0 ? 30 : end == 800 ? 5 : 20
    set ytics -120, step, 0
    set xtics end / 2
    set xlabel (i == 0 ? "frequency (cycles per sample)" : "samples") offset 0,0.45 font ",10" textcolor "#666666"
    set ylabel (c == 0 ? (i == 0 ? "response (dB)" : "residual (dB)") : "") offset 1.2 font ",10" textcolor "#666666"
    aim = real(field(i, 3))
    set arrow 1 from graph 0, first aim to graph 1, first aim nohead linecolor rgb orange linewidth 0.8 dashtype 3
    plot curves index i using 1:3 with lines linewidth 1.6 linecolor rgb plain, \
         curves index i using 1:2 with lines linewidth 2 linecolor rgb blue
}

# The time per sample of each family.
unset label; unset arrow; unset xlabel; unset ylabel
set lmargin at screen left(1); set rmargin at screen left(3) + width
set tmargin at screen top(4) - 0.03; set bmargin at screen top(4) - 0.03 - height
set label 1 "Time per sample" at graph 0, 1.21 font "Sans Bold,12" textcolor "#333333"
set label 2 "ns on one core, logarithmic: 32 taps (10 stages in …pef64f, 1024 taps in pbfdaf64f)" at graph 0, 1.085 font ",10.5" textcolor "#333333"
set xrange [-0.6:families - 0.4]; set yrange [4:700]
set logscale y; set ytics (5, 10, 20, 50, 100, 200, 500)
set format x "%s"
set xtics scale 0 rotate by 38 right font ",9.5"
set boxwidth 0.62
set style fill solid noborder
do for [i = 0:families - 1] { set xtics add (field(i, 1) i) }
plot sprintf('< awk -F "  +" "NR > 1 && NR <= 18 { print \$6 }" "%s/tour.txt"', dir) using 0:1 with boxes linecolor rgb blue, \
     "" using 0:1:(sprintf("%.0f", $1)) with labels offset 0,0.6 font ",9.5" textcolor rgb "#333333"
unset multiplot
