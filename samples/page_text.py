"""The words on the sample page."""

TITLE = "A Page on Its Way to Paper"
SUBTITLE = "Notes on resolution, depth and colour for those who send pages to printers and archives"

LEFT = [
    ("h", "What a page is made of"),
    ("p", "A page that a machine can hold is a grid of small squares. Each square has one colour and no inside; "
          "all that the eye takes for a letter, a rule or a face is an agreement between neighbours. How many "
          "squares lie along one inch of paper is the resolution of the page, and it decides most of what can "
          "happen to the page later."),
    ("p", "A scanner on a desk often gives 300 squares to the inch. A fax machine wants 200, a screen is content "
          "with 100, and a typesetter’s film may ask for 2400. Between these stands the work that this sheet is "
          "meant to test: the same page, another grid."),
    ("h", "Making the grid coarser"),
    ("p", "When three squares must become two, every new square falls between old ones. The plain way is to take "
          "the nearest; it is quick, and it drops thin rules at random. A better way weighs the four old squares "
          "around the new one by how near they are. Rules then keep their place and their weight, and small "
          "letters keep their bowls open a little longer."),
    ("p", "Look at the words set in six point at the foot of this page. If the e still has its bar and the a its "
          "bowl, the page has travelled well. If the rules on the right have different strengths although they "
          "were drawn alike, something has been lost on the way."),
    ("h", "Black and white"),
    ("p", "A page of one bit knows ink and paper only. Weighing its squares gives grays that it cannot keep, so "
          "each must fall to one side. Where the line is drawn is the threshold: a low one fattens the letters, a "
          "high one thins them. The middle is a good start, and a page of old typewriting may deserve another."),
]

RIGHT = [
    ("h", "Colours from a table"),
    ("p", "A drawing of few colours is often stored as a list of colours and, for every square, a place in the "
          "list. Places cannot be weighed: halfway between entry 3 and entry 9 lies entry 6, which may be anything. "
          "So the colours themselves are weighed, and a new list is made for the result, the best 256 that can be "
          "found."),
]

CAPTION = ("Fig. 1.  Evening above a mountain lake. Sky and water change slowly and show banding first; the ridges show "
           "whether edges stay clean.")

LADDER = [
    (12, "Twelve point: a clerk folded the map and left."),
    (10, "Ten point: every letter needs its own room to breathe in."),
    (9, "Nine point: the quick hand of the copyist slows at the end of a line."),
    (8, "Eight point: footnotes live here, and the terms of most contracts, dates, sums."),
    (7, "Seven point: timetables, price lists, the names of streets on a folded map; 0123456789."),
    (6, "Six point: the smallest type that most people read without complaint, if light and paper are good; 6 8 9 0 B a e s."),
]

REVERSED = [
    (8, "White on black at eight point: ink spreads inward,"),
    (7, "so seven point closes sooner than it does on paper,"),
    (6, "and six point tells at once how a threshold was chosen: a e s 6 8 9."),
]

TABLE_TITLE = "Table 1.  One page of A4 at four resolutions"
WEDGE_TITLE = "Gray wedge: 17 steps, and the same without steps"
BLOCKS_TITLE = "Colour blocks: full, half and a fifth of each"
RULES_TITLE = "Rules of 1 to 6 squares"
FOOT = "Set for a grid of 2480 by 3508 squares, 300 to the inch.  Made for testing; copy it as you like."
