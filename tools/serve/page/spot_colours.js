// One colour per spot, the same on the picture, in the table and in the chart.

const kColours = ['#35a7ff', '#ff9f1c', '#2ec27e', '#e05bd6', '#f2545b', '#17bebb', '#b8a400', '#9a7bff'];

export const colourOfSpot = (index) => kColours[index % kColours.length];
