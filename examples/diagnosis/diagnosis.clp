; A heating adviser: it asks what the resident of a house can see or try, and says what to do.
;
; Run it and answer the questions, each on a line of its own:
;     kbsh diagnosis.clp --run
; or let it read prepared answers:
;     kbsh diagnosis.clp --run < diagnosis.in
;
; A rule that needs to know something asserts (wanted <topic>). One rule puts the question of that topic and keeps the
; answer as (known (topic ...) (answer ...)), so that nothing is asked twice and nothing that no rule wants. What the
; rules conclude is a (finding ...); at the end findings are printed, the dangerous and the more certain ones first.

(deftemplate question (slot topic) (slot text) (multislot answers))
(deftemplate known (slot topic) (slot answer))
(deftemplate finding (slot cause) (slot certainty (type INTEGER))
  (slot who (allowed-symbols yourself technician emergency)) (slot advice))

(deffacts questions
  (question (topic smell) (text "Do you smell gas or burnt plastic") (answers gas burnt no))
  (question (topic complaint) (text "What is wrong") (answers cold one-room hot-water noise leak))
  (question (topic display) (text "What does the boiler's display show") (answers nothing code normal))
  (question (topic code) (text "Which code does it show") (answers E1 E2 E5 E9 other))
  (question (topic lights) (text "Does the light in the boiler room work") (answers yes no))
  (question (topic fuse) (text "Is the fuse of the heating in its upper position") (answers yes no))
  (question (topic pressure) (text "How many bar does the pressure gauge show (a number)") (answers))
  (question (topic refilled) (text "Has water been refilled during the last month") (answers yes no))
  (question (topic season) (text "Is the controller set to summer or winter") (answers summer winter))
  (question (topic wanted-temperature) (text "Which room temperature is set, in degrees (a number)") (answers))
  (question (topic pump) (text "Does the pump hum when you hold a hand to it") (answers yes no))
  (question (topic valve) (text "Does the pin of the room's radiator valve move when you press it") (answers yes no))
  (question (topic radiator) (text "The radiator of that room is") (answers cold top-cold bottom-cold warm))
  (question (topic shower) (text "Is the water cold at all taps or at one") (answers all one))
  (question (topic sound) (text "What does it sound like") (answers gurgling banging whistling))
  (question (topic where) (text "Where does the water come from") (answers radiator boiler safety-valve)))

; --- The dialogue ---------------------------------------------------------------------------------------------------

(deffunction ask (?text ?answers) "Asks until the answer is among the given ones; without any, until it is a number"
  (bind ?asking TRUE)
  (while ?asking do
    (printout t ?text (if (> (length$ ?answers) 0) then (str-cat " (" (implode$ ?answers) ")") else "") "? ")
    (bind ?answer (read))
    (printout t crlf)
    (if (eq ?answer EOF) then
      (printout t "No more answers." crlf)
      (bind ?answer unknown)
      (bind ?asking FALSE)
     else
      (if (= (length$ ?answers) 0) then
        (bind ?asking (not (numberp ?answer)))
       else
        (bind ?asking (not (member$ ?answer ?answers))))
      (if ?asking then (printout t "Sorry, I cannot use \"" ?answer "\"." crlf))))
  ?answer)

(defrule put-question
  (declare (salience 10))
  (wanted ?topic)
  (question (topic ?topic) (text ?text) (answers $?answers))
  (not (known (topic ?topic)))
  =>
  (assert (known (topic ?topic) (answer (ask ?text ?answers)))))

(defrule begin
  (declare (salience 20))
  =>
  (printout t "Heating adviser. Answer with one of the words in parentheses." crlf)
  (assert (wanted smell)))

; --- Danger comes first ---------------------------------------------------------------------------------------------

(defrule smell-of-gas
  (declare (salience 30))
  (known (topic smell) (answer gas))
  =>
  (assert (finding (cause "gas escapes") (certainty 100) (who emergency)
    (advice "Open the windows, touch no switch, leave the house and call the gas emergency service."))))

(defrule smell-of-burning
  (known (topic smell) (answer burnt))
  =>
  (assert (finding (cause "a cable or a circuit board has burnt") (certainty 80) (who technician)
    (advice "Switch the heating off at the emergency switch and leave it off."))))

(defrule no-smell
  (known (topic smell) (answer no))
  =>
  (assert (wanted complaint)))

; --- What to ask for which complaint --------------------------------------------------------------------------------

(defrule cold-wants-display
  (known (topic complaint) (answer cold|hot-water))
  =>
  (assert (wanted display)))

(defrule dark-wants-lights
  (known (topic display) (answer nothing))
  =>
  (assert (wanted lights)))

(defrule lights-on-wants-fuse
  (known (topic display) (answer nothing))
  (known (topic lights) (answer yes))
  =>
  (assert (wanted fuse)))

(defrule code-wants-code
  (known (topic display) (answer code))
  =>
  (assert (wanted code)))

(defrule cold-and-normal-wants-season
  (known (topic complaint) (answer cold))
  (known (topic display) (answer normal))
  =>
  (assert (wanted season)))

(defrule winter-wants-temperature
  (known (topic season) (answer winter))
  =>
  (assert (wanted wanted-temperature)))

(defrule warm-setting-wants-pump
  (known (topic wanted-temperature) (answer ?degrees&:(and (numberp ?degrees) (>= ?degrees 19))))
  =>
  (assert (wanted pressure) (wanted pump)))

(defrule one-room-wants-radiator
  (known (topic complaint) (answer one-room))
  =>
  (assert (wanted radiator)))

(defrule cold-radiator-wants-valve
  (known (topic radiator) (answer cold))
  =>
  (assert (wanted valve)))

(defrule noise-wants-sound
  (known (topic complaint) (answer noise))
  =>
  (assert (wanted sound)))

(defrule leak-wants-where
  (known (topic complaint) (answer leak))
  =>
  (assert (wanted pressure) (wanted where)))

(defrule gurgling-wants-pressure
  (known (topic sound) (answer gurgling))
  =>
  (assert (wanted pressure)))

(defrule low-pressure-wants-refilled
  (known (topic pressure) (answer ?bar&:(and (numberp ?bar) (< ?bar 1.0))))
  =>
  (assert (wanted refilled)))

(defrule hot-water-wants-shower
  (known (topic complaint) (answer hot-water))
  (known (topic display) (answer normal))
  =>
  (assert (wanted shower)))

; --- Findings -------------------------------------------------------------------------------------------------------

(defrule house-without-power
  (known (topic lights) (answer no))
  =>
  (assert (finding (cause "the boiler room has no power") (certainty 90) (who yourself)
    (advice "Look at the main fuse and ask the neighbours whether the street is dark."))))

(defrule fuse-has-tripped
  (known (topic fuse) (answer no))
  =>
  (assert (finding (cause "the fuse of the heating has tripped") (certainty 85) (who yourself)
    (advice "Push it up once. If it drops again, leave it and call a technician."))))

(defrule boiler-is-dead
  (known (topic display) (answer nothing))
  (known (topic fuse) (answer yes))
  =>
  (assert (finding (cause "the control unit of the boiler is dead") (certainty 70) (who technician)
    (advice "Say that the display is dark although there is power."))))

(defrule code-no-flame
  (known (topic code) (answer E1))
  =>
  (assert (finding (cause "the burner finds no flame") (certainty 75) (who yourself)
    (advice "Is the gas cock open? Open it and press reset, twice at most."))))

(defrule code-too-hot
  (known (topic code) (answer E2))
  =>
  (assert (finding (cause "the boiler became too hot") (certainty 70) (who technician)
    (advice "Usually the pump stands still. Let it cool down before you press reset.")))
  (assert (wanted pump)))

(defrule code-low-water
  (known (topic code) (answer E5))
  =>
  (assert (wanted pressure)))

(defrule code-flue
  (known (topic code) (answer E9))
  =>
  (assert (finding (cause "the flue is blocked") (certainty 90) (who emergency)
    (advice "Switch the boiler off, open a window and call the chimney sweep."))))

(defrule code-unknown
  (known (topic code) (answer other))
  =>
  (assert (finding (cause "a fault that the boiler reports") (certainty 40) (who technician)
    (advice "Write down the code and the type of the boiler."))))

(defrule set-to-summer
  (known (topic season) (answer summer))
  =>
  (assert (finding (cause "the controller is set to summer") (certainty 95) (who yourself)
    (advice "Set it to winter; the rooms get warm within hours."))))

(defrule set-too-low
  (known (topic wanted-temperature) (answer ?degrees&:(and (numberp ?degrees) (< ?degrees 19))))
  =>
  (assert (finding (cause (str-cat "only " ?degrees " degrees are asked for")) (certainty 90) (who yourself)
    (advice "Raise the setting to 20 or 21 degrees."))))

(defrule pump-stands-still
  (known (topic pump) (answer no))
  =>
  (assert (finding (cause "the pump stands still") (certainty 80) (who technician)
    (advice "A pump often sticks after the summer; a technician can free or replace it."))))

(defrule water-is-low
  (known (topic pressure) (answer ?bar&:(and (numberp ?bar) (< ?bar 1.0))))
  =>
  (assert (finding (cause (str-cat "the pressure is too low (" (str-format "%.1f" ?bar) " bar)")) (certainty 85) (who yourself)
    (advice "Refill water to 1.5 bar and bleed the radiators."))))

(defrule water-is-low-again
  (known (topic refilled) (answer yes))
  =>
  (assert (finding (cause "the system loses water") (certainty 75) (who technician)
    (advice "Refilling every month hides a leak or a tired expansion vessel."))))

(defrule pressure-too-high
  (known (topic pressure) (answer ?bar&:(and (numberp ?bar) (> ?bar 2.5))))
  =>
  (assert (finding (cause (str-cat "the pressure is too high (" (str-format "%.1f" ?bar) " bar)")) (certainty 80) (who yourself)
    (advice "Let out water at a radiator until the gauge shows 1.5 bar."))))

(defrule valve-sticks
  (known (topic radiator) (answer cold))
  (known (topic valve) (answer no))
  =>
  (assert (finding (cause "the radiator valve sticks") (certainty 90) (who yourself)
    (advice "Take off the head and move the pin to and fro with the back of a spoon."))))

(defrule valve-head-broken
  (known (topic radiator) (answer cold))
  (known (topic valve) (answer yes))
  =>
  (assert (finding (cause "the head of the thermostat is worn out") (certainty 70) (who yourself)
    (advice "Exchange the head with that of another room to make sure, then buy a new one."))))

(defrule air-in-radiator
  (known (topic radiator) (answer top-cold))
  =>
  (assert (finding (cause "air in the radiator") (certainty 95) (who yourself)
    (advice "Bleed it until water comes, then look at the pressure."))))

(defrule mud-in-radiator
  (known (topic radiator) (answer bottom-cold))
  =>
  (assert (finding (cause "mud in the radiator") (certainty 60) (who technician)
    (advice "Have the system flushed."))))

(defrule radiator-too-small
  (known (topic radiator) (answer warm))
  =>
  (assert (finding (cause "the room loses more heat than the radiator gives") (certainty 50) (who yourself)
    (advice "Look for open windows, curtains and furniture in front of the radiator."))))

(defrule gurgling-air
  (known (topic sound) (answer gurgling))
  =>
  (assert (finding (cause "air in the pipes") (certainty 80) (who yourself)
    (advice "Bleed all radiators, the lowest floor first."))))

(defrule banging-pipes
  (known (topic sound) (answer banging))
  =>
  (assert (finding (cause "pipes that expand against their clamps") (certainty 60) (who technician)
    (advice "Lower the flow temperature; ask for clamps with rubber."))))

(defrule whistling-valve
  (known (topic sound) (answer whistling))
  =>
  (assert (finding (cause "the pump presses too hard on half-closed valves") (certainty 65) (who technician)
    (advice "Set the pump one step lower."))))

(defrule leak-at-safety-valve
  (known (topic where) (answer safety-valve))
  =>
  (assert (finding (cause "the expansion vessel has lost its air") (certainty 70) (who technician)
    (advice "Put a bucket under the valve; do not close it."))))

(defrule leak-at-radiator
  (known (topic where) (answer radiator))
  =>
  (assert (finding (cause "a leaking union at the radiator") (certainty 70) (who yourself)
    (advice "Close both valves of the radiator and tighten the union a quarter turn."))))

(defrule leak-at-boiler
  (known (topic where) (answer boiler))
  =>
  (assert (finding (cause "the boiler leaks") (certainty 85) (who technician)
    (advice "Switch it off and close the water supply."))))

(defrule mixer-at-one-tap
  (known (topic shower) (answer one))
  =>
  (assert (finding (cause "the mixer of that tap is worn") (certainty 80) (who yourself)
    (advice "Exchange its cartridge."))))

(defrule no-hot-water-anywhere
  (known (topic shower) (answer all))
  =>
  (assert (finding (cause "the three-way valve or the sensor of the hot water") (certainty 60) (who technician)
    (advice "Say that the rooms get warm and the water does not."))))

; --- Conclusion -----------------------------------------------------------------------------------------------------

(defrule lower-certainty
  "A pump that stands still explains a boiler that became too hot: it is the cause, not a second fault."
  (declare (salience 5))
  (finding (cause "the pump stands still"))
  ?finding <- (finding (cause "the boiler became too hot"))
  =>
  (retract ?finding))

(defrule conclude
  (declare (salience -10))
  (exists (finding))
  =>
  (printout t crlf "What I found:" crlf)
  (assert (printing)))

(defrule nothing-found
  (declare (salience -10))
  (not (finding))
  (not (printing))
  =>
  (printout t crlf "I found nothing. A technician should look at it." crlf))

(deffunction rank (?who ?certainty)
  (+ ?certainty (if (eq ?who emergency) then 1000 else 0)))

(defrule print-finding
  (declare (salience -20))
  (printing)
  ?finding <- (finding (cause ?cause) (certainty ?certainty) (who ?who) (advice ?advice))
  (not (finding (who ?w) (certainty ?c&:(> (rank ?w ?c) (rank ?who ?certainty)))))
  =>
  (retract ?finding)
  (printout t "- " ?cause " (" ?certainty " %): " (if (eq ?who yourself) then "you can do this yourself."
     else (if (eq ?who technician) then "call a technician." else "DANGER.")) crlf "    " ?advice crlf))
