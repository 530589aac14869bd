; A puzzle of five lighthouses, solved by constraint rules.
;
; Run it:
;     kbsh lighthouses.clp --run
;
; Five lighthouses stand in a row along the coast, numbered 1 to 5 from west to east. Each has its own colour, keeper,
; animal, drink and pastime. The 18 clues are facts at the end of this file; "together" means in the same place, and
; "left-of" somewhere further west. Who keeps the otter, and who plays chess?
;
; Every value starts with all five places open, one (open ...) fact for each. Rules strike out what a clue or another
; value forbids; a value with one open place is settled there. When no rule can strike anything more, a place is tried:
; a trial that runs into a contradiction strikes the place out for good, one that settles everything is the answer.

(deftemplate value (slot kind) (slot name))
(deftemplate open (slot kind) (slot name) (slot place))
(deftemplate struck (slot kind) (slot name) (slot place) (slot level))
(deftemplate clue (slot number) (slot says (allowed-symbols at together beside left-of apart)) (slot a) (slot b))

(defglobal ?*strikes* = 0 ?*trials* = 0)

(deffacts places (place 1) (place 2) (place 3) (place 4) (place 5) (level 0))

(deffacts values
  (value (kind colour) (name white)) (value (kind colour) (name red)) (value (kind colour) (name black))
  (value (kind colour) (name green)) (value (kind colour) (name striped))
  (value (kind keeper) (name Asa)) (value (kind keeper) (name Birk)) (value (kind keeper) (name Clara))
  (value (kind keeper) (name Dag)) (value (kind keeper) (name Edda))
  (value (kind animal) (name goat)) (value (kind animal) (name parrot)) (value (kind animal) (name dog))
  (value (kind animal) (name cat)) (value (kind animal) (name otter))
  (value (kind drink) (name tea)) (value (kind drink) (name coffee)) (value (kind drink) (name milk))
  (value (kind drink) (name cider)) (value (kind drink) (name water))
  (value (kind pastime) (name carving)) (value (kind pastime) (name fishing)) (value (kind pastime) (name reading))
  (value (kind pastime) (name fiddle)) (value (kind pastime) (name chess)))

(deffunction strike (?fact ?kind ?name ?place ?level) "Closes a place for a value: for good (0) or in a trial (1)"
  (bind ?*strikes* (+ ?*strikes* 1))
  (retract ?fact)
  (assert (struck (kind ?kind) (name ?name) (place ?place) (level ?level))))

(defrule open-everything
  (declare (salience 100))
  (value (kind ?kind) (name ?name))
  (place ?place)
  =>
  (assert (open (kind ?kind) (name ?name) (place ?place))))

; --- Contradictions, seen at once ------------------------------------------------------------------------------------

(defrule value-has-no-place
  (declare (salience 60))
  (started)
  (value (kind ?kind) (name ?name))
  (not (open (kind ?kind) (name ?name)))
  (not (contradiction))
  =>
  (assert (contradiction)))

(defrule place-has-no-value
  (declare (salience 60))
  (started)
  (place ?place)
  (value (kind ?kind) (name ?))
  (not (open (kind ?kind) (place ?place)))
  (not (contradiction))
  =>
  (assert (contradiction)))

(defrule start
  (declare (salience 90))
  =>
  (assert (started)))

; --- Every kind: one value at a place, one place for a value ---------------------------------------------------------

(defrule settled-value-takes-its-place
  "A value with a single open place: no other value of its kind can be there."
  (declare (salience 50))
  (not (contradiction))
  (level ?level)
  (open (kind ?kind) (name ?name) (place ?place))
  (not (open (kind ?kind) (name ?name) (place ~?place)))
  ?fact <- (open (kind ?kind) (name ?other&~?name) (place ?place))
  =>
  (strike ?fact ?kind ?other ?place ?level))

(defrule settled-place-takes-its-value
  "A place that only one value of a kind can have: that value is nowhere else."
  (declare (salience 50))
  (not (contradiction))
  (level ?level)
  (open (kind ?kind) (name ?name) (place ?place))
  (not (open (kind ?kind) (name ~?name) (place ?place)))
  ?fact <- (open (kind ?kind) (name ?name) (place ?other&~?place))
  =>
  (strike ?fact ?kind ?name ?other ?level))

; --- The clues -------------------------------------------------------------------------------------------------------

(defrule clue-at
  "a is at place b."
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says at) (a ?a) (b ?place))
  ?fact <- (open (kind ?kind) (name ?a) (place ?other&~?place))
  =>
  (strike ?fact ?kind ?a ?other ?level))

(defrule clue-together
  "Where b cannot be, a cannot be."
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says together) (a ?a) (b ?b))
  ?fact <- (open (kind ?kind) (name ?a) (place ?place))
  (not (open (name ?b) (place ?place)))
  =>
  (strike ?fact ?kind ?a ?place ?level))

(defrule clue-together-backward
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says together) (a ?a) (b ?b))
  ?fact <- (open (kind ?kind) (name ?b) (place ?place))
  (not (open (name ?a) (place ?place)))
  =>
  (strike ?fact ?kind ?b ?place ?level))

(defrule clue-apart
  "Where b is settled, a cannot be."
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says apart) (a ?a) (b ?b))
  (open (name ?b) (place ?place))
  (not (open (name ?b) (place ~?place)))
  ?fact <- (open (kind ?kind) (name ?a) (place ?place))
  =>
  (strike ?fact ?kind ?a ?place ?level))

(defrule clue-beside
  "a needs an open place of b at its side."
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says beside) (a ?a) (b ?b))
  ?fact <- (open (kind ?kind) (name ?a) (place ?place))
  (not (open (name ?b) (place ?near&:(= (abs (- ?near ?place)) 1))))
  =>
  (strike ?fact ?kind ?a ?place ?level))

(defrule clue-beside-backward
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says beside) (a ?a) (b ?b))
  ?fact <- (open (kind ?kind) (name ?b) (place ?place))
  (not (open (name ?a) (place ?near&:(= (abs (- ?near ?place)) 1))))
  =>
  (strike ?fact ?kind ?b ?place ?level))

(defrule clue-left-of
  "a stands west of b: an open place of b must lie east of it."
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says left-of) (a ?a) (b ?b))
  ?fact <- (open (kind ?kind) (name ?a) (place ?place))
  (not (open (name ?b) (place ?east&:(> ?east ?place))))
  =>
  (strike ?fact ?kind ?a ?place ?level))

(defrule clue-left-of-backward
  (declare (salience 40))
  (not (contradiction))
  (level ?level)
  (clue (says left-of) (a ?a) (b ?b))
  ?fact <- (open (kind ?kind) (name ?b) (place ?place))
  (not (open (name ?a) (place ?west&:(< ?west ?place))))
  =>
  (strike ?fact ?kind ?b ?place ?level))

; --- Trials ----------------------------------------------------------------------------------------------------------

(defrule try-a-place
  "Nothing more follows, but a value has two places: assume that the western one is right."
  (declare (salience -10))
  ?level <- (level 0)
  (not (contradiction))
  (open (kind ?kind) (name ?name) (place ?west))
  (open (kind ?kind) (name ?name) (place ?east&:(> ?east ?west)))
  (not (tried ?name ?west))
  =>
  (bind ?*trials* (+ ?*trials* 1))
  (retract ?level)
  (assert (level 1) (trial ?kind ?name ?west) (tried ?name ?west)))

(defrule assume
  "In a trial the other places of the value are closed."
  (declare (salience 55))
  (level 1)
  (trial ?kind ?name ?place)
  (not (contradiction))
  ?fact <- (open (kind ?kind) (name ?name) (place ?other&~?place))
  =>
  (strike ?fact ?kind ?name ?other 1))

(defrule undo-trial
  "Places that a trial closed open again when it has failed, or has led nowhere."
  (declare (salience 70))
  (undo)
  ?struck <- (struck (kind ?kind) (name ?name) (place ?place) (level 1))
  =>
  (retract ?struck)
  (assert (open (kind ?kind) (name ?name) (place ?place))))

(defrule trial-fails
  (declare (salience 65))
  ?contradiction <- (contradiction)
  (level 1)
  =>
  (retract ?contradiction)
  (assert (undo) (wrong)))

(defrule trial-leads-nowhere
  (declare (salience -20))
  (level 1)
  (not (contradiction))
  (open (name ?name) (place ?place))
  (open (name ?name) (place ~?place))
  (not (undo))
  =>
  (assert (undo)))

(defrule trial-is-over
  (declare (salience 68))
  ?undo <- (undo)
  ?level <- (level 1)
  ?trial <- (trial ? ? ?)
  (not (struck (level 1)))
  (not (wrong))
  =>
  (retract ?undo ?level ?trial)
  (assert (level 0)))

(defrule trial-was-wrong
  "What led to a contradiction is struck out for good, and the other trials get another chance."
  (declare (salience 68))
  ?undo <- (undo)
  ?level <- (level 1)
  ?trial <- (trial ?kind ?name ?place)
  (not (struck (level 1)))
  ?wrong <- (wrong)
  ?fact <- (open (kind ?kind) (name ?name) (place ?place))
  =>
  (retract ?undo ?level ?trial ?wrong)
  (strike ?fact ?kind ?name ?place 0)
  (assert (level 0) (forget)))

(defrule forget-trials
  (declare (salience 69))
  (forget)
  ?tried <- (tried ? ?)
  =>
  (retract ?tried))

(defrule forgotten
  (declare (salience 67))
  ?forget <- (forget)
  (not (tried ? ?))
  =>
  (retract ?forget))

; --- The answer ------------------------------------------------------------------------------------------------------

(defrule no-solution
  (declare (salience 58))
  (contradiction)
  (level 0)
  =>
  (printout t "The clues contradict each other." crlf))

(defrule stuck
  (declare (salience -25))
  (level 0)
  (not (contradiction))
  (open (name ?name) (place ?place))
  (open (name ?name) (place ~?place))
  =>
  (printout t "One trial at a time does not solve this." crlf)
  (halt))

(defrule solved
  (declare (salience -30))
  (started)
  (not (contradiction))
  =>
  (printout t "place keeper   colour   animal   drink    pastime" crlf)
  (assert (print 1)))

(defrule print-place
  (declare (salience -30))
  ?print <- (print ?place)
  (open (kind keeper) (name ?keeper) (place ?place))
  (open (kind colour) (name ?colour) (place ?place))
  (open (kind animal) (name ?animal) (place ?place))
  (open (kind drink) (name ?drink) (place ?place))
  (open (kind pastime) (name ?pastime) (place ?place))
  =>
  (retract ?print)
  (assert (print (+ ?place 1)))
  (printout t (str-format "%5d %-8s %-8s %-8s %-8s %s" ?place ?keeper ?colour ?animal ?drink ?pastime) crlf))

(defrule answer
  (declare (salience -40))
  (print 6)
  (open (name otter) (place ?otter))
  (open (kind keeper) (name ?first) (place ?otter))
  (open (name chess) (place ?chess))
  (open (kind keeper) (name ?second) (place ?chess))
  =>
  (printout t ?first " keeps the otter, and " ?second " plays chess." crlf)
  (printout t ?*strikes* " places struck out, " ?*trials* " trials" crlf))

(deffacts clues
  (clue (number 1) (says at) (a chess) (b 3))
  (clue (number 2) (says together) (a Edda) (b parrot))
  (clue (number 3) (says together) (a Clara) (b cat))
  (clue (number 4) (says together) (a reading) (b white))
  (clue (number 5) (says together) (a Clara) (b coffee))
  (clue (number 6) (says together) (a cider) (b otter))
  (clue (number 7) (says together) (a cat) (b fishing))
  (clue (number 8) (says together) (a cat) (b striped))
  (clue (number 9) (says beside) (a Edda) (b cider))
  (clue (number 10) (says beside) (a Birk) (b white))
  (clue (number 11) (says beside) (a green) (b reading))
  (clue (number 12) (says beside) (a green) (b water))
  (clue (number 13) (says beside) (a cider) (b fiddle))
  (clue (number 14) (says beside) (a goat) (b red))
  (clue (number 15) (says beside) (a Edda) (b chess))
  (clue (number 16) (says left-of) (a milk) (b goat))
  (clue (number 17) (says left-of) (a tea) (b red))
  (clue (number 18) (says left-of) (a Dag) (b red)))
