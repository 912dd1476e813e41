/* What the main loop needs of a board. duct.c simulates it, so that the firmware also runs on a desk and in
 * an emulator. On hardware these functions wait for a timer, read two converters and write one. */
#ifndef BOARD_H
#define BOARD_H

/* Waits until the next sample is due. Returns 0 if there is none: a simulation ends. */
int boardWait(void);

/* The sample of the reference microphone, full scale 1.0. */
double boardReference(void);

/* The sample of the error microphone: the noise and what the loudspeaker adds. */
double boardResidual(void);

/* The sample that the loudspeaker plays from now on. */
void boardPlay(double sample);

#endif
